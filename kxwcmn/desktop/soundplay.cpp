#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>

#include "kxwcmn/core/handle.h"
#include "kxwcmn/desktop/sound.h"
#include "kxwcmn/desktop/sound_internal.h"

// The sound that plays in the process. The end of a sound is told by the channel's thread, maybe
// when the next one has begun already: sounds are numbered, and the end of an older one means
// nothing.

namespace {

using kxw::SoundCommand;

constexpr int kSampledSound = 5;        // the kind of the channel
constexpr int kInitialOptions = 128;    // of the channel
constexpr BYTE kExtendedHeader = 0xFF;  // the encoding of a header that has all fields
constexpr BYTE kBaseFrequency = 4;

/// What plays. Its lock is never held while the channel is asked for anything: the callback of the
/// channel takes it.
class Player {
 public:
  void Begin(KXPointer& samples, u64* number) {
    const std::lock_guard lock(mutex_);
    samples_.Attach(samples.Detach(), 0);
    isPlaying_ = true;
    *number = ++number_;
  }
  /// The end of that sound, or of any.
  void End(u64 number) {
    const std::lock_guard lock(mutex_);
    if (number == number_) EndLocked();
  }
  void End() {
    const std::lock_guard lock(mutex_);
    EndLocked();
  }
  bool IsPlaying() {
    const std::lock_guard lock(mutex_);
    return isPlaying_;
  }

 private:
  void EndLocked() {
    isPlaying_ = false;
    samples_.Free();
  }

  std::mutex mutex_;
  bool isPlaying_ = false;
  u64 number_ = 0;
  KXPointer samples_;
};

/// All of it, never destroyed: the channel's thread may outlive static objects.
struct Process {
  std::mutex operation;  // one of Play, Stop, Initialize and Terminate at a time
  std::unique_ptr<kxw::SoundChannel> channel;
  Player player;
};

Process& TheProcess() {
  static Process& process = *new Process;
  return process;
}

void OnCallback(const SoundCommand& command) {
  if (command.first == kxw::kSoundBuffer) TheProcess().player.End(command.second);
}

void StopLocked(Process& process) {
  if (!process.channel || !process.player.IsPlaying()) return;
  process.channel->SendImmediately({kxw::kSoundQuiet});
  process.player.End();
}

}  // namespace

int KXSound::InitializeKXSound() {
  if (!qmwIsInstallQT()) return 1;
  Process& process = TheProcess();
  const std::lock_guard lock(process.operation);
  if (!process.channel) {
    process.channel = kxw::GetSoundService().NewChannel(kSampledSound, kInitialOptions, OnCallback);
  }
  return process.channel != nullptr;
}

void KXSound::TerminateKXSound() {
  Process& process = TheProcess();
  const std::lock_guard lock(process.operation);
  StopLocked(process);
  process.channel.reset();
}

void KXSound::Stop() {
  Process& process = TheProcess();
  const std::lock_guard lock(process.operation);
  StopLocked(process);
}

int KXSound::IsPlaying() { return TheProcess().player.IsPlaying(); }

int KXSound::Play(WORD mode, UINT start, UINT end) const {
  Process& process = TheProcess();
  const std::lock_guard lock(process.operation);
  if (!qmwIsInstallQT() || !process.channel || path_.IsEmpty()) return 0;
  StopLocked(process);
  if (mode > 1 || info_.channels < 1 || info_.channels > 2 || samplesPerSecond_ == 0) return 0;
  const DWORD frameSize = FrameSize();
  const u64 first = mode == 0 ? 0 : std::min<u64>(OffsetAt(start), info_.dataSize);
  const u64 last = mode == 0 ? info_.dataSize : std::min<u64>(OffsetAt(end), info_.dataSize);
  if (first >= last) return 0;

  KXFile file;
  kxw::OpenForReading(file, path_);
  // The size that the file gives for its samples may be a lie; what it has of them is not.
  const u64 position = info_.dataPosition + first;
  const u64 length = static_cast<u64>(file.GetLength());
  if (length <= position) return 0;
  DWORD size = static_cast<DWORD>(std::min(last - first, length - position));
  size -= size % frameSize;
  if (size == 0) return 0;
  KXPointer samples;
  samples.Alloc(size, kxw::kAllocUninitialized);
  file.Seek(static_cast<i64>(position), kxw::kFromBegin);
  DWORD done = 0;
  file.Read(samples, size, &done);
  file.Close();
  const DWORD frames = done / frameSize;
  if (frames == 0) return 0;
  MakePlayable(samples, frames * frameSize);

  kxw::SoundHeader header;
  header.samples = samples;
  header.channels = info_.channels;
  header.sampleRate = samplesPerSecond_;
  header.frames = frames;
  header.sampleSize = info_.sampleSize;
  header.encoding = kExtendedHeader;
  header.baseFrequency = kBaseFrequency;
  u64 number = 0;
  process.player.Begin(samples, &number);
  // A sound whose end nobody would tell must not go on.
  bool hasBegun = false;
  try {
    hasBegun = process.channel->Send({kxw::kSoundBuffer, 0, 0, &header}) &&
               process.channel->Send({kxw::kSoundCallback, kxw::kSoundBuffer, number});
  } catch (...) {
    StopLocked(process);
    throw;
  }
  if (!hasBegun) StopLocked(process);
  return hasBegun;
}

/// Brings AIFF samples into the form of WAVE samples, which the channel takes.
void KXSound::MakePlayable(BYTE* samples, DWORD size) const {
  if (type_ != kxw::kSoundAiff) return;
  if (info_.sampleSize == 8) {
    for (DWORD i = 0; i < size; ++i) samples[i] = static_cast<BYTE>(samples[i] - 0x80);
  } else {
    for (DWORD i = 0; i + 1 < size; i += 2) std::swap(samples[i], samples[i + 1]);
  }
}
