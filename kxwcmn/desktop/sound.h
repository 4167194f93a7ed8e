#pragma once

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/sound.h"
#include "kxwcmn/platform/types.h"

/// What a sound file holds, in eight words.
struct _SOUND_INFO {
  WORD channels;       // 1 or 2
  DWORD sampleRate;    // hertz, with 16 bits of fraction; 65536 Hz and more wrap
  WORD sampleSize;     // bits, 8 or 16
  DWORD dataSize;      // bytes of samples, as the file has it
  DWORD dataPosition;  // of the first sample in the file
  DWORD frameCount;    // samples of each channel
  float duration;      // seconds
  LONG plainSamples;   // 1 for samples that are not compressed
};
static_assert(sizeof(_SOUND_INFO) == 32);

/// Where a WAVE file's samples lie, and its format chunk.
struct _WAVEHEADER {
  DWORD dataPosition, dataSize;
  WORD formatTag;  // 1 for samples that are not compressed
  WORD channels;
  DWORD samplesPerSecond;
  DWORD averageBytesPerSecond;
  WORD blockAlign;
  WORD bitsPerSample;
};
static_assert(sizeof(_WAVEHEADER) == 24);

/// A WAVE or AIFF file: what it holds, single samples for the display of its waveform, and its
/// sound, of which one plays at a time in the process.
///
/// Sound takes a service (`qmwIsInstallQT`), the host's or the application's. Without one only the
/// information of WAVE files is to be had. Times are in 1/600 of a second. The sound of the process
/// is guarded, and the static operations may be called on any thread; an object, its `Play` too, is
/// not, and belongs to one thread at a time.
class KX_EXPORT KXSound {
 public:
  KXSound() = default;
  virtual ~KXSound();

  /// Opens the way to the loudspeakers, which `Play` needs. Returns 0 if there is no device, or if
  /// one that hung when its way was closed has not let go yet; a missing service is no failure, and
  /// an open way stays. Waits up to 3 s for the device to be found, and 3 s for one that hangs to
  /// let go.
  static int InitializeKXSound();
  /// Ends what is playing, and closes the way. Waits up to 3 s for a device that hangs, and so does
  /// each of these operations for another one under way.
  static void TerminateKXSound();

  /// Ends what is playing; waits for a `Play` under way on another thread.
  static void Stop();
  /// Whether a sound is playing; 0 again when its last sample has been played.
  static int IsPlaying();

  /// Takes a file, and reads what it holds. Its kind is told by the extension alone, "wav", "aif"
  /// or "aiff" in any case. Returns 1, or 0, with the path empty, for another extension and for
  /// AIFF without a service.
  ///
  /// Raises KXException with code 0 for a WAVE file that is none or has other samples than of 8 or
  /// 16 bits; 0x2001000B for a broken AIFF file; 0x6001138A for AIFF-C and other samples; the
  /// platform's code for a file that cannot be read. The path stays set then, and all information
  /// is 0.
  int SetSoundFile(const KXFilePath& path);
  void GetSoundFile(KXFilePath& path) const { path = path_; }

  /// 0 none, 1 WAVE, 2 AIFF.
  WORD GetSoundType() const { return type_; }
  void GetSoundInfo(_SOUND_INFO& info) const { info = info_; }
  /// Whether the file is there.
  int IsExistence() const { return path_.IsExistence(); }

  /// The samples at a time, from 0 to 255 around 128; the right one of a mono file is 128. Null is
  /// passed over. Returns 1, or 0 without a service, without a file, and where the file has ended.
  /// The end of the samples within the file is not looked at. Raises the platform's code if the
  /// file cannot be read.
  int GetSampleData(UINT time, short* left, short* right) const;

  /// Plays the whole file (`mode` 0), or from `start` to `end` (1), whole frames as far as the file
  /// has them. What plays is ended first. Returns 1 once the sound has begun, which goes on by
  /// itself, and 0 in silence: without a service, a way or a file, for another mode, an empty
  /// stretch, or samples that cannot be played. Raises the platform's code if the file cannot be
  /// read or its samples find no room, and what the service raises: in silence, too.
  ///
  /// The whole stretch is read into memory before, and then the device is waited for, up to 3 s.
  int Play(WORD mode, UINT start, UINT end) const;

 protected:
  /// Parts of `SetSoundFile`: they set the type and the information for the path.
  int GetSoundFileInfo();
  int GetSoundFileType();
  int GetWAVEFileInfo();
  int GetAIFFFileInfo();
  int GetWAVEHeader(_WAVEHEADER* header) const;

  static short Change16BitTo8BitSample(short sample);
  static WORD ReverseWord(WORD word);

 private:
  DWORD FrameSize() const;
  u64 OffsetAt(UINT time) const;
  short SampleOf(const BYTE* bytes) const;
  void MakePlayable(BYTE* samples, DWORD size) const;

  KXFilePath path_;
  _SOUND_INFO info_ = {};
  DWORD samplesPerSecond_ = 0;  // as the file has it
  WORD type_ = 0;
};
