#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "fuzz/input.h"
#include "kxwcmn/desktop/sound.h"

// WAVE files of any bytes: what they hold, samples at some times, and the stretches that a channel
// is given. The file is behind the input's first bytes, which tell the times.

namespace {

/// A service whose channel reads all that it is given, and plays nothing.
class Service : public kxw::SoundService {
 public:
  bool IsInstalled() override { return true; }
  int ReadAiff(const char*, kxw::SoundFormat*) override { return kxw::kFailureBadFormat; }
  std::unique_ptr<kxw::SoundChannel> NewChannel(
      int, int, std::function<void(const kxw::SoundCommand&)>) override {
    return std::make_unique<Channel>();
  }

 private:
  struct Channel : kxw::SoundChannel {
    bool Send(const kxw::SoundCommand& command) override {
      if (command.code != kxw::kSoundBuffer) return true;
      const kxw::SoundHeader& header = *command.header;
      fuzz::Check(header.frames > 0 && header.channels >= 1 && header.channels <= 2);
      const std::string bytes(static_cast<const char*>(header.samples),
                              header.frames * header.channels * header.sampleSize / 8);
      return std::count(bytes.begin(), bytes.end(), 'x') % 2 == 0;
    }
    void SendImmediately(const kxw::SoundCommand&) override {}
  };
};

/// The file that each input becomes.
std::filesystem::path FilePath() {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() /
      ("kxwcmn_sound_fuzz_" + std::to_string(std::random_device{}()) + ".wav");
  static const struct Remover {
    ~Remover() { std::filesystem::remove(path); }
  } remover;
  return path;
}

void Write(const std::string& bytes) {
  std::FILE* file = std::fopen(FilePath().c_str(), "wb");
  fuzz::Check(file && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
  std::fclose(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Service service;
  kxw::SetSoundService(&service);
  KXSound::InitializeKXSound();

  fuzz::Input input(data, size);
  const UINT first = input.Word() << (input.Byte() & 16), last = input.Word();
  const std::string bytes = input.Rest();
  Write(bytes);
  KXFilePath path;
  path.SetNativePath(FilePath().c_str());
  KXSound sound;
  const bool isRead = fuzz::Succeeds([&] { fuzz::Check(sound.SetSoundFile(path)); });
  _SOUND_INFO info;
  sound.GetSoundInfo(info);
  fuzz::Check(isRead ? info.dataPosition >= 36 && info.dataPosition <= bytes.size()
                     : info.dataPosition == 0);
  for (const UINT time : {0u, first, last, first + last}) {
    short left = 0, right = 0;
    if (!sound.GetSampleData(time, &left, &right)) continue;
    fuzz::Check(left >= 0 && left <= 255 && right >= 0 && right <= 255 && isRead);
  }
  sound.Play(0, 0, 0);
  sound.Play(1, std::min(first, last), std::max(first, last));
  KXSound::Stop();
  return 0;
}
