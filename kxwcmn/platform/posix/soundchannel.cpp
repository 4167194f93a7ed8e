#if defined(KXWCMN_WITH_SOUND)

#include <portaudio.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include "kxwcmn/platform/posix/sound_internal.h"
#include "kxwcmn/platform/thread.h"

// A channel is a queue with a thread that feeds the device. The device is only touched by that
// thread, and never under the lock, so that no operation of the channel waits for a device that
// hangs: a sound is silenced by taking its samples from the thread, and the thread ends the stream
// when it finds them gone.

namespace kxw {

namespace {

/// How long a sound may take to begin, behind one that has just been silenced.
constexpr std::chrono::seconds kBeginLimit{3};
/// How long, in milliseconds, a channel's end waits for its thread. A device that hangs keeps the
/// thread then, and no other channel is opened before it has let go.
constexpr DWORD kEndLimit = 3000;
/// Pieces handed to the device: 1/100 of a second, in frames within bounds.
constexpr DWORD kPiecesASecond = 100, kLeastPiece = 64, kMostPiece = 4096;
/// The most that a device may still have to play; what it tells beyond is not believed.
constexpr std::chrono::duration<double> kMostLatency{2};

struct PortAudioLibrary {
  PortAudioLibrary() {
    const HostLibrary library("libportaudio.so.2");
    isThere = library.Find("Pa_Initialize", &initialize) &&
              library.Find("Pa_Terminate", &terminate) &&
              library.Find("Pa_GetDefaultOutputDevice", &defaultOutputDevice) &&
              library.Find("Pa_GetDeviceInfo", &deviceInfo) &&
              library.Find("Pa_OpenStream", &openStream) &&
              library.Find("Pa_StartStream", &startStream) &&
              library.Find("Pa_GetStreamInfo", &streamInfo) &&
              library.Find("Pa_WriteStream", &writeStream) &&
              library.Find("Pa_StopStream", &stopStream) &&
              library.Find("Pa_AbortStream", &abortStream) &&
              library.Find("Pa_CloseStream", &closeStream);
  }
  bool isThere;
  decltype(Pa_Initialize)* initialize = nullptr;
  decltype(Pa_Terminate)* terminate = nullptr;
  decltype(Pa_GetDefaultOutputDevice)* defaultOutputDevice = nullptr;
  decltype(Pa_GetDeviceInfo)* deviceInfo = nullptr;
  decltype(Pa_OpenStream)* openStream = nullptr;
  decltype(Pa_StartStream)* startStream = nullptr;
  decltype(Pa_GetStreamInfo)* streamInfo = nullptr;
  decltype(Pa_WriteStream)* writeStream = nullptr;
  decltype(Pa_StopStream)* stopStream = nullptr;
  decltype(Pa_AbortStream)* abortStream = nullptr;
  decltype(Pa_CloseStream)* closeStream = nullptr;
};

const PortAudioLibrary& Library() {
  static const PortAudioLibrary library;
  return library;
}

/// The devices of the host, as they are when this is made.
class Devices {
 public:
  Devices() { Look(); }
  Devices(const Devices&) = delete;
  Devices& operator=(const Devices&) = delete;
  ~Devices() { Forget(); }

  /// Looks anew, for one that has come or gone.
  void LookAgain() {
    Forget();
    Look();
  }

  /// The one to play on, null if there is none.
  const PaDeviceInfo* Output(PaDeviceIndex* index) const {
    if (!isThere_) return nullptr;
    *index = Library().defaultOutputDevice();
    return *index == paNoDevice ? nullptr : Library().deviceInfo(*index);
  }

 private:
  void Look() { isThere_ = Library().initialize() == paNoError; }
  void Forget() {
    if (isThere_) Library().terminate();
    isThere_ = false;
  }

  bool isThere_ = false;
};

/// A stream to the device for sounds of one format.
class Stream {
 public:
  Stream(const Devices& devices, const SoundHeader& header) {
    PaStreamParameters output = {};
    const PaDeviceInfo* device = devices.Output(&output.device);
    if (!device) return;
    output.channelCount = static_cast<int>(header.channels);
    output.sampleFormat = header.sampleSize == 8 ? paUInt8 : paInt16;
    output.suggestedLatency = device->defaultHighOutputLatency;
    if (Library().openStream(&stream_, nullptr, &output, header.sampleRate,
                             paFramesPerBufferUnspecified, paNoFlag, nullptr,
                             nullptr) != paNoError) {
      stream_ = nullptr;
    } else if (Library().startStream(stream_) != paNoError) {
      Close(false);
    }
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { Close(false); }

  bool IsOpen() const { return stream_ != nullptr; }

  /// False when the device is gone.
  bool Write(const BYTE* samples, DWORD frames) {
    const PaError error = Library().writeStream(stream_, samples, frames);
    return error == paNoError || error == paOutputUnderflowed;  // a gap is no end
  }

  /// How long the device still plays what it has been given.
  std::chrono::duration<double> Latency() const {
    const PaStreamInfo* info = Library().streamInfo(stream_);
    const std::chrono::duration<double> told{info ? info->outputLatency : 0};
    return told > kMostLatency ? kMostLatency : told;
  }

  /// Plays what the device still has, or leaves it out.
  void Close(bool isPlayed) {
    if (!stream_) return;
    isPlayed ? Library().stopStream(stream_) : Library().abortStream(stream_);
    Library().closeStream(stream_);
    stream_ = nullptr;
  }

 private:
  PaStream* stream_ = nullptr;
};

/// One sound on its way through the channel.
struct Sound {
  enum State { kWaiting, kPlaying, kRefused };

  explicit Sound(const SoundHeader& h) : header(h) {}

  SoundHeader header;  // no samples: silenced
  State state = kWaiting;
};

/// What the channel and its thread share. The thread keeps it if the device does not let it end.
class Queue {
 public:
  explicit Queue(std::function<void(const SoundCommand&)> callback)
      : callback_(std::move(callback)) {}

  /// Whether the thread has found a device, once it knows.
  bool WaitForDevice() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kBeginLimit, [this] { return hasLooked_; });
    return hasDevice_;
  }

  bool Send(const SoundCommand& command);
  void Silence();
  void End();

  /// The thread.
  void Run();

 private:
  struct Item {
    SoundCommand command;
    std::shared_ptr<Sound> sound;  // of `kSoundBuffer`
  };

  void Play(std::unique_lock<std::mutex>& lock, Devices& devices);

  const std::function<void(const SoundCommand&)> callback_;
  std::mutex mutex_;  // of what follows
  std::condition_variable changed_;
  bool hasLooked_ = false, hasDevice_ = false;
  bool isEnding_ = false;
  std::deque<Item> waiting_;
  std::shared_ptr<Sound> sound_;  // the one under way
};

bool Queue::Send(const SoundCommand& command) {
  std::unique_lock lock(mutex_);
  if (command.code != kSoundBuffer) {
    waiting_.push_back({command, nullptr});
    changed_.notify_all();
    return true;
  }
  // It cannot begin before another one has ended.
  if (sound_ && sound_->header.samples) return false;
  const auto sound = std::make_shared<Sound>(*command.header);
  waiting_.push_back({command, sound});
  changed_.notify_all();
  changed_.wait_for(lock, kBeginLimit,
                    [&] { return sound->state != Sound::kWaiting || !sound->header.samples; });
  if (sound->state == Sound::kPlaying) return true;
  sound->header.samples = nullptr;
  std::erase_if(waiting_, [&](const Item& item) { return item.sound == sound; });
  return false;
}

void Queue::Silence() {
  const std::lock_guard lock(mutex_);
  if (sound_) sound_->header.samples = nullptr;
  for (const Item& item : waiting_) {
    if (item.sound) item.sound->header.samples = nullptr;
  }
  waiting_.clear();
  changed_.notify_all();
}

void Queue::End() {
  Silence();
  const std::lock_guard lock(mutex_);
  isEnding_ = true;
  changed_.notify_all();
}

void Queue::Run() {
  Devices devices;
  PaDeviceIndex index;
  std::unique_lock lock(mutex_);
  hasDevice_ = devices.Output(&index) != nullptr;
  hasLooked_ = true;
  changed_.notify_all();
  while (hasDevice_) {
    changed_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
    if (isEnding_) return;
    const Item item = std::move(waiting_.front());
    waiting_.pop_front();
    if (item.sound) {
      sound_ = item.sound;
      Play(lock, devices);
      sound_.reset();
    } else if (item.command.code == kSoundCallback) {
      lock.unlock();
      callback_(item.command);
      lock.lock();
    }
  }
}

void Queue::Play(std::unique_lock<std::mutex>& lock, Devices& devices) {
  Sound& sound = *sound_;
  const SoundHeader header = sound.header;
  if (!header.samples) return;

  lock.unlock();
  auto stream = std::make_unique<Stream>(devices, header);
  if (!stream->IsOpen()) {
    devices.LookAgain();
    stream = std::make_unique<Stream>(devices, header);
  }
  lock.lock();
  bool isAlive = stream->IsOpen();
  sound.state = isAlive ? Sound::kPlaying : Sound::kRefused;
  changed_.notify_all();

  const std::size_t frameSize = std::size_t{header.channels} * header.sampleSize / 8;
  const DWORD most = std::clamp(header.sampleRate / kPiecesASecond, kLeastPiece, kMostPiece);
  std::vector<BYTE> piece(most * frameSize);
  for (DWORD at = 0; isAlive && at < header.frames;) {
    if (!sound.header.samples) break;
    const DWORD frames = std::min(most, header.frames - at);
    std::memcpy(piece.data(), static_cast<const BYTE*>(header.samples) + at * frameSize,
                frames * frameSize);
    at += frames;
    lock.unlock();
    isAlive = stream->Write(piece.data(), frames);
    lock.lock();
  }
  // The device still plays the last pieces. It is asked to finish only when it has, as it cannot
  // be silenced meanwhile.
  if (isAlive) changed_.wait_for(lock, stream->Latency(), [&] { return !sound.header.samples; });
  const bool isPlayed = isAlive && sound.header.samples;
  lock.unlock();
  stream->Close(isPlayed);
  lock.lock();
}

class PortAudioChannel : public SoundChannel {
 public:
  PortAudioChannel(std::shared_ptr<Queue> queue, std::shared_ptr<Thread> thread)
      : queue_(std::move(queue)), thread_(std::move(thread)) {}
  ~PortAudioChannel() override {
    queue_->End();
    thread_->Wait(kEndLimit);
  }

  bool Send(const SoundCommand& command) override { return queue_->Send(command); }
  void SendImmediately(const SoundCommand& command) override {
    if (command.code == kSoundQuiet) queue_->Silence();
  }

 private:
  std::shared_ptr<Queue> queue_;
  std::shared_ptr<Thread> thread_;
};

}  // namespace

bool HasPortAudio() { return Library().isThere; }

std::unique_ptr<SoundChannel> OpenSoundChannel(std::function<void(const SoundCommand&)> callback) {
  // PortAudio bears one thread at a time. That of the last channel may hang in it, and outlive
  // static objects.
  struct LastThread {
    std::mutex mutex;
    std::shared_ptr<Thread> thread;
  };
  static LastThread& last = *new LastThread;
  const std::lock_guard lock(last.mutex);
  if (last.thread && last.thread->Wait(0) != kWaitSignalled) return nullptr;
  const auto queue = std::make_shared<Queue>(std::move(callback));
  last.thread = Thread::Start([queue] {
    queue->Run();
    return 0;
  });
  if (!last.thread) return nullptr;
  auto channel = std::make_unique<PortAudioChannel>(queue, last.thread);
  if (!queue->WaitForDevice()) return nullptr;
  return channel;
}

}  // namespace kxw

#endif
