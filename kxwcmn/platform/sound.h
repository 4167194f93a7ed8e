#pragma once

#include <functional>
#include <memory>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// What a sound file holds. Rates are whole hertz here, in the header below too: an AIFF file's
/// fraction is left out.
struct SoundFormat {
  DWORD channels = 0;  // 1 to 65535
  DWORD sampleRate = 0;
  DWORD sampleSize = 0;  // bits, 8 or 16
  DWORD frames = 0;      // samples of each channel
  DWORD dataPosition = 0;
};

/// A stretch of sound for a channel.
struct SoundHeader {
  /// Interleaved: 8 bits without a sign, or 16 bits with one, low byte first.
  const void* samples = nullptr;
  DWORD channels = 0;
  DWORD sampleRate = 0;
  DWORD frames = 0;
  WORD sampleSize = 0;  // bits
  BYTE encoding = 0, baseFrequency = 0;
};

enum SoundCommandCode : WORD {
  kSoundQuiet = 3,
  kSoundCallback = 13,
  kSoundBuffer = 81,
};

struct SoundCommand {
  SoundCommandCode code;
  WORD first = 0;
  u64 second = 0;
  const SoundHeader* header = nullptr;  // of `kSoundBuffer`
};

/// A way to the loudspeakers. It goes through its commands one after the other, on a thread of its
/// own; what they are for tells their code:
///
/// - `kSoundBuffer` plays the samples of its header, which must stay until they have been played.
/// - `kSoundCallback` calls the channel's callback with the command itself.
/// - `kSoundQuiet` ends the sound, and forgets it and all commands that wait.
class KX_EXPORT SoundChannel {
 public:
  virtual ~SoundChannel() = default;

  /// Adds a command behind those that wait. For a sound it returns when it has begun; false, with
  /// nothing to be heard and the samples let go, if it cannot begin.
  virtual bool Send(const SoundCommand& command) = 0;

  /// Carries a command out at once. After `kSoundQuiet` the samples are read no more. A callback
  /// may be under way meanwhile, and must not be waited for. Raises nothing.
  virtual void SendImmediately(const SoundCommand& command) = 0;
};

/// What the library needs for sound. An application with a sound system of its own may supply it.
class KX_EXPORT SoundService {
 public:
  virtual ~SoundService() = default;

  /// Without it there are no operations on sound, and those below are not called.
  virtual bool IsInstalled() = 0;

  /// Reads what the AIFF file at `path` holds. Returns 0 or a code to raise; an answer out of range
  /// is refused as a broken file.
  virtual int ReadAiff(const char* path, SoundFormat* format) = 0;

  /// Makes a channel of samples, with `kind` and `options` from KXSound; null if there is no device
  /// to play on. Its destructor ends what is played and waits for the callback to return.
  ///
  /// This host's waits at most 3 s for a device that hangs: for it to be found, to begin a sound,
  /// and, in the destructor, to let go, after which no callback comes. It makes one channel at a
  /// time, and none while a device has not let go.
  virtual std::unique_ptr<SoundChannel> NewChannel(
      int kind, int options, std::function<void(const SoundCommand&)> callback) = 0;
};

/// Sets the service of the process, which is not kept; null for the host's own. No channel may be
/// open.
KX_EXPORT void SetSoundService(SoundService* service);
KX_EXPORT SoundService& GetSoundService();

/// This host's, which looks for its libraries when it is first asked for.
SoundService& HostSoundService();

}  // namespace kxw

/// Whether there is a sound service.
KX_EXPORT int qmwIsInstallQT();
