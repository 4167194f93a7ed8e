#include "kxwcmn/desktop/sound.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"
#include "tests/desktop/soundfiles.h"
#include "tests/support/failure.h"
#include "tests/testfolder.h"

namespace {

using kxw::SoundCommand;
using testing_kxw::Bytes;
using testing_kxw::Chunk;
using testing_kxw::Format;
using testing_kxw::Riff;
using testing_kxw::Wave;

/// A service that notes what it is sent, and ends sounds when the test says so. It is the process's
/// while it lives.
class Service : public kxw::SoundService {
 public:
  Service() { kxw::SetSoundService(this); }
  ~Service() override {
    KXSound::TerminateKXSound();
    kxw::SetSoundService(nullptr);
  }

  bool IsInstalled() override { return isInstalled; }
  int ReadAiff(const char*, kxw::SoundFormat* format) override {
    *format = aiff;
    return aiffError;
  }
  std::unique_ptr<kxw::SoundChannel> NewChannel(
      int kind, int options, std::function<void(const SoundCommand&)> callback) override {
    log += "channel " + std::to_string(kind) + " " + std::to_string(options) + ";";
    callback_ = std::move(callback);
    return hasDevice ? std::make_unique<Channel>(*this) : nullptr;
  }

  std::string Log() { return std::exchange(log, ""); }
  void CallBack(const SoundCommand& command) { callback_(command); }

  bool isInstalled = true, hasDevice = true;
  int refused = 0, raising = 0;  // codes of commands that the channel does not take
  kxw::SoundFormat aiff{1, 8000, 8};
  int aiffError = 0;
  std::string log;
  kxw::SoundHeader header;
  std::string samples;
  DWORD blockSize = 0;  // of the memory that they are in
  SoundCommand end{};   // the callback that was asked for last

 private:
  struct Channel : kxw::SoundChannel {
    explicit Channel(Service& s) : service(s) {}
    ~Channel() override { service.log += "closed;"; }
    bool Send(const SoundCommand& command) override {
      service.log += "send " + std::to_string(command.code) + ";";
      if (command.code == 13) service.end = command;
      if (command.code == service.raising) kxThrowError(4711);
      if (command.code == service.refused) return false;
      if (command.code != 81) return true;
      service.header = *command.header;
      service.blockSize = qmGetPtrSize(const_cast<void*>(command.header->samples));
      const auto bytes =
          service.header.frames * service.header.channels * service.header.sampleSize / 8;
      service.samples.assign(static_cast<const char*>(service.header.samples), bytes);
      return true;
    }
    void SendImmediately(const SoundCommand& command) override {
      service.log += "at once " + std::to_string(command.code) + ";";
    }
    Service& service;
  };

  std::function<void(const SoundCommand&)> callback_;
};

struct OpenSound : KXSound {
  using KXSound::Change16BitTo8BitSample;
  using KXSound::ReverseWord;
};

/// A sound over a file of those bytes.
class SoundFile : public KXSound {
 public:
  explicit SoundFile(const std::string& bytes, const std::string& name = "s.wav") {
    folder.WriteFile(name, bytes);
    code = CodeOf([&] { result = SetSoundFile(folder.Path(name).c_str()); });
  }

  _SOUND_INFO Info() const {
    _SOUND_INFO info;
    GetSoundInfo(info);
    return info;
  }
  /// "left right", or nothing.
  std::string At(UINT time) const {
    short left = -1, right = -1;
    if (!GetSampleData(time, &left, &right)) return "";
    return std::to_string(left) + " " + std::to_string(right);
  }

  TestFolder folder;
  int result = -1, code = 0;
};

std::string Ramp(std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 7 + i / 256);
  return bytes;
}

TEST(Sound, TellsWhatItsFileHolds) {
  Service service;
  for (const char* name : {"S.WaV", "s.aif"}) {
    const bool isWave = name[0] == 'S';
    for (const unsigned channels : {1u, 2u}) {
      for (const unsigned bits : {8u, 16u}) {
        const unsigned frame = channels * bits / 8;
        service.aiff = {channels, 11025, bits, 601 / frame, 54};
        // Chunks of odd sizes are not padded.
        const SoundFile sound(
            Riff(Chunk("junk", "odd") + Chunk("fmt ", Format(channels, 11025, bits) + "more") +
                 Chunk("data", Ramp(601)) + Chunk("LIST", "behind")),
            name);
        ASSERT_EQ(sound.result, 1);
        const _SOUND_INFO info = sound.Info();
        const DWORD size = isWave ? 601 : 601 / frame * frame;
        const double duration = isWave ? 601.0 / (11025 * frame) : 601 / frame / 11025.0;
        EXPECT_TRUE(info.channels == channels && info.sampleSize == bits);
        EXPECT_TRUE(info.sampleRate == 11025u << 16 && info.plainSamples == 1);
        EXPECT_TRUE(info.dataSize == size && info.frameCount == 601 / frame);
        EXPECT_EQ(info.dataPosition, isWave ? 12u + 11 + 28 + 8 : 54u);
        EXPECT_EQ(info.duration, static_cast<float>(duration));
      }
    }
  }
  const std::string other = Riff(Chunk("fmt ", Format(1, 8000, 8, 7)) + Chunk("data", ""));
  EXPECT_EQ(SoundFile(other).Info().plainSamples, 0);
  service.aiff.sampleRate = 0;
  EXPECT_EQ(SoundFile("", "s.aif").Info().duration, 0);
  service.aiffError = 4711;
  EXPECT_EQ(SoundFile("", "s.aif").code, 4711);
  service.isInstalled = false;
  EXPECT_EQ(SoundFile("", "s.aif").result, 0);
}

TEST(Sound, RefusesWhatIsNoWaveFile) {
  const std::string good = Wave(1, 8000, 8, "");
  std::vector<std::string> bad;
  for (std::size_t size = 0; size < good.size(); ++size) bad.push_back(good.substr(0, size));
  bad.push_back("RIFX" + good.substr(4));
  bad.push_back(good.substr(0, 8) + "WAVY" + good.substr(12));
  for (const unsigned bits : {0u, 4u, 12u, 24u, 32u}) bad.push_back(Wave(1, 8000, bits, "1234"));
  const std::string format = Format(1, 8000, 8);
  bad.push_back(Riff(Chunk("data", "1234") + Chunk("fmt ", format)));
  bad.push_back(Riff(Chunk("fmt ", format.substr(0, 15)) + Chunk("data", "1234")));
  for (const std::string tag : {"fmt ", "LIST"}) {
    bad.push_back(Riff(tag + Bytes(0xFFFFFFFF, 4) + format + Chunk("data", "1234")));
  }
  std::string empty;
  for (int i = 0; i < 1 << 16; ++i) empty += Chunk("none", "");
  bad.push_back(Riff(empty + Chunk("fmt ", format) + Chunk("data", "1234")));
  for (const std::string& bytes : bad) {
    SoundFile sound(bytes);
    EXPECT_EQ(sound.result, -1) << bytes.size();
    EXPECT_EQ(sound.code, 0);
    EXPECT_THROW(sound.SetSoundFile(sound.folder.Path("s.wav").c_str()), KXException);
    KXFilePath path;
    sound.GetSoundFile(path);
    EXPECT_TRUE(path == sound.folder.Path("s.wav").c_str() && sound.IsExistence());
    EXPECT_EQ(sound.Info().channels + sound.Info().dataPosition, 0u);
  }
}

TEST(Sound, TakesTheKindFromTheExtensionAlone) {
  Service service;
  const std::pair<const char*, int> kCases[] = {{"a.wav", 1},  {"a.WAV", 1},  {"a.aif", 2},
                                                {"a.AIFF", 2}, {"a.aifc", 0}, {"wav", 0},
                                                {"a.wav.x", 0}};
  for (const auto& [name, type] : kCases) {
    SoundFile sound(Wave(1, 8000, 8, ""), name);
    EXPECT_EQ(sound.result, type != 0) << name;
    EXPECT_EQ(sound.GetSoundType(), type) << name;
    KXFilePath path;
    sound.GetSoundFile(path);
    EXPECT_EQ(path.IsEmpty(), type == 0) << name;
  }
  KXSound sound;
  EXPECT_EQ(CodeOf([&] { sound.SetSoundFile("\\nowhere\\s.wav"); }), kxw::kErrorFileNotFound);
  EXPECT_FALSE(sound.IsExistence());
}

// Nothing is divided by these, nothing is read beyond the file, and nothing is shortened.
TEST(Sound, NumbersThatMeanNothingAreHarmless) {
  Service service;
  KXSound::InitializeKXSound();
  const std::string data = Ramp(64);
  for (const std::string& format :
       {Format(0, 8000, 8), Format(2, 0, 16), Bytes(0, 14) + Bytes(8, 2), Format(7, 8000, 8)}) {
    const SoundFile sound(Riff(Chunk("fmt ", format) + Chunk("data", data)));
    EXPECT_EQ(sound.result, 1);
    EXPECT_EQ(sound.Play(0, 0, 0), 0);
    sound.At(600);
  }
  EXPECT_EQ(SoundFile(Wave(0, 8000, 8, data)).At(0), "");
  EXPECT_EQ(SoundFile(Wave(2, 0, 16, data)).Info().duration, 0);
  // A frame of 131070 bytes, whose byte at this time is near 2^64 / 600.
  EXPECT_EQ(SoundFile(Wave(65535, 65350, 16, Ramp(4000))).At(2153628705), "");

  const SoundFile lie(
      Riff(Chunk("fmt ", Format(1, 8000, 16)) + "data" + Bytes(0xFFFFFFFF, 4) + data + "x"));
  EXPECT_EQ(lie.Info().dataSize, 0xFFFFFFFFu);
  EXPECT_EQ(lie.Play(0, 0, 0), 1);
  EXPECT_EQ(service.samples, data);
  EXPECT_EQ(service.blockSize, data.size());
  EXPECT_EQ(lie.Play(1, 6000, 0xFFFFFFFF), 0);
}

TEST(Sound, RefusesAnswersOfTheServiceOutOfRange) {
  Service service;
  const kxw::SoundFormat kBad[] = {{2, 44100, 32, 9, 0},
                                   {1, 8000, 4, 9, 0},
                                   {1, 8000, 12, 9, 0},
                                   {1, 8000, 0, 9, 0},
                                   {0, 8000, 8, 9, 0},
                                   {65537, 8000, 8, 9, 0},
                                   {2, 8000, 16, 0x40000000u, 0},
                                   {1, 8000, 65544, 9, 0}};
  for (const kxw::SoundFormat& format : kBad) {
    service.aiff = format;
    const SoundFile sound(Ramp(64), "s.aif");
    EXPECT_EQ(sound.code, 0x2001000B) << format.channels << " " << format.sampleSize;
    EXPECT_EQ(sound.Info().channels, 0);
    EXPECT_EQ(sound.At(0), "");
  }
  service.aiff = {65535, 8000, 16, 0x7FFFFFFF, 0};
  EXPECT_EQ(SoundFile("", "s.aif").Info().dataSize, 0xFFFFFFFEu);
}

// The field of the rate has 16 bits of whole hertz, which wrap; nothing else is cut.
TEST(Sound, HighRatesWrapInTheirFieldAlone) {
  Service service;
  KXSound::InitializeKXSound();
  const std::string data = Ramp(19200);
  for (const DWORD rate : {65535u, 65536u, 96000u}) {
    service.aiff = {1, rate, 8, 19200, 44};
    for (const char* name : {"s.wav", "s.aif"}) {
      const SoundFile sound(Wave(1, rate, 8, data), name);
      ASSERT_EQ(sound.result, 1);
      const _SOUND_INFO info = sound.Info();
      EXPECT_EQ(info.sampleRate, rate % 65536 * 65536);
      EXPECT_EQ(info.frameCount, 19200u);
      EXPECT_EQ(info.dataSize, 19200u);
      EXPECT_EQ(info.duration, static_cast<float>(19200.0 / rate));
      EXPECT_EQ(sound.Play(1, 60, 90), 1);
      EXPECT_EQ(service.header.sampleRate, rate);
      EXPECT_EQ(service.header.frames, rate * 90 / 600 - rate * 60 / 600);
      if (sound.GetSoundType() != 1) continue;
      const std::size_t first = rate * 60 / 600;
      EXPECT_TRUE(service.samples == data.substr(first, service.header.frames));
      const int sample = static_cast<unsigned char>(data[first]);
      EXPECT_EQ(sound.At(60), std::to_string(sample) + " 128");
    }
  }
}

TEST(Sound, SamplesAreBytesAroundTheMiddle) {
  const std::pair<int, int> kValues[] = {{0, 128},     {255, 128},  {256, 129},
                                         {32767, 255}, {-32768, 0}, {-1, 128},
                                         {-255, 128},  {-256, 127}, {-32767, 1}};
  for (const auto& [wide, value] : kValues) {
    EXPECT_EQ(OpenSound::Change16BitTo8BitSample(static_cast<short>(wide)), value) << wide;
  }
  EXPECT_EQ(OpenSound::ReverseWord(0x12FE), 0xFE12);

  Service service;
  const std::string bytes("\x00\x80\xFF\x7F\x81\x01", 6);
  EXPECT_EQ(SoundFile(Wave(1, 600, 8, bytes)).At(1), "128 128");
  EXPECT_EQ(SoundFile(Wave(2, 600, 8, bytes)).At(1), "255 127");
  EXPECT_EQ(SoundFile(Wave(1, 600, 16, bytes)).At(0), "0 128");
  EXPECT_EQ(SoundFile(Wave(2, 600, 16, bytes)).At(0), "0 255");
  const auto aiff = [&](unsigned channels, unsigned bits, UINT time) {
    service.aiff = {channels, 600, bits, 6, 4};
    return SoundFile("head" + bytes, "s.aiff").At(time);
  };
  EXPECT_EQ(aiff(1, 8, 0), "128 128");
  EXPECT_EQ(aiff(1, 8, 1), "1 128");  // the lowest value is no lower than the next
  EXPECT_EQ(aiff(1, 8, 4), "2 128");
  EXPECT_EQ(aiff(2, 8, 1), "128 255");
  EXPECT_EQ(aiff(1, 16, 0), "128 128");
  EXPECT_EQ(aiff(2, 16, 0), "128 128");
  EXPECT_EQ(aiff(1, 16, 2), "2 128");  // 0x8101
  service.isInstalled = false;
  EXPECT_EQ(SoundFile(Wave(1, 600, 8, bytes)).At(1), "");
}

TEST(Sound, SamplesAreThoseOfTheirTime) {
  Service service;
  std::string data;
  for (int i = 0; i < 40000; ++i) data += Bytes(static_cast<u64>(i % 251) << 8, 2);
  const SoundFile sound(Wave(2, 11025, 16, data));
  for (const UINT time : {0u, 1u, 2u, 299u, 599u, 600u, 601u, 1000u}) {
    const u64 frame = u64{time} * 44100 / 600 / 4;
    const auto value = [&](u64 sample) {
      const int v = static_cast<int>(sample % 251);
      return std::to_string(v < 128 ? v + 128 : v - 128);
    };
    EXPECT_EQ(sound.At(time), value(2 * frame) + " " + value(2 * frame + 1)) << time;
  }
  for (const UINT time : {1089u, 100000u, 7304400u, 0xFFFFFFFFu}) EXPECT_EQ(sound.At(time), "");
  EXPECT_TRUE(sound.GetSampleData(0, nullptr, nullptr));

  // Chunks behind the samples are read as well; a frame cut off by the file's end is not.
  const SoundFile more(Wave(1, 600, 16, "aabb") + "ccd");
  EXPECT_EQ(more.At(2), std::to_string('c' + 128) + " 128");
  EXPECT_EQ(more.At(3), "");
  std::filesystem::remove(more.folder.Host() / "s.wav");
  EXPECT_EQ(CodeOf([&] { more.At(0); }), kxw::kErrorFileNotFound);
}

TEST(SoundPlay, SendsTheStretchAndAsksForItsEnd) {
  Service service;
  const std::string data = Ramp(4410);
  const SoundFile sound(Wave(2, 1102, 16, data) + "behind");
  EXPECT_EQ(sound.Play(0, 0, 0), 0);  // no channel yet
  EXPECT_TRUE(KXSound::InitializeKXSound() && KXSound::InitializeKXSound());
  EXPECT_EQ(service.Log(), "channel 5 128;");
  EXPECT_EQ(sound.Play(0, 5, 1), 1);
  EXPECT_EQ(service.Log(), "send 81;send 13;");
  EXPECT_EQ(service.samples, data.substr(0, 4408));
  const kxw::SoundHeader& header = service.header;
  EXPECT_TRUE(header.channels == 2 && header.sampleSize == 16 && header.frames == 1102);
  EXPECT_TRUE(header.sampleRate == 1102 && header.encoding == 0xFF && header.baseFrequency == 4);
  EXPECT_EQ(service.end.first, 81);
  EXPECT_TRUE(KXSound::IsPlaying());
  service.CallBack(service.end);
  EXPECT_FALSE(KXSound::IsPlaying());
  KXSound::Stop();
  EXPECT_EQ(service.Log(), "");

  EXPECT_EQ(sound.Play(1, 100, 301), 1);  // bytes 734.7 and 2211.3, of whole frames
  EXPECT_EQ(service.samples, data.substr(732, 2208 - 732));
  EXPECT_EQ(sound.Play(1, 550, 0xFFFFFFFF), 1);  // 4040.7
  EXPECT_EQ(service.samples, data.substr(4040, 4408 - 4040));
  EXPECT_EQ(sound.Play(1, 0, 1), 1);
  EXPECT_EQ(service.samples, data.substr(0, 4));
}

TEST(SoundPlay, EndsWhatPlaysBeforeAnythingElse) {
  Service service;
  KXSound::InitializeKXSound();
  service.Log();
  const SoundFile sound(Wave(1, 600, 8, Ramp(600)));
  const std::pair<UINT, UINT> kEmpty[] = {{5, 5}, {6, 5}, {600, 700}};
  for (const auto& [start, end] : kEmpty) {
    EXPECT_EQ(sound.Play(0, 0, 0), 1);
    EXPECT_EQ(service.Log(), "send 81;send 13;");
    EXPECT_EQ(sound.Play(1, start, end), 0);
    EXPECT_EQ(service.Log(), "at once 3;");
    EXPECT_FALSE(KXSound::IsPlaying());
  }
  sound.Play(0, 0, 0);
  EXPECT_EQ(KXSound().Play(0, 0, 0), 0);  // without a file nothing is ended
  EXPECT_TRUE(KXSound::IsPlaying());
  EXPECT_EQ(sound.Play(2, 0, 600), 0);
  EXPECT_FALSE(KXSound::IsPlaying());

  // The end of the first comes when the second plays already.
  sound.Play(0, 0, 0);
  const SoundCommand firstEnd = service.end;
  sound.Play(0, 0, 0);
  service.CallBack(firstEnd);
  service.CallBack({kxw::kSoundCallback, 80, service.end.second});
  EXPECT_TRUE(KXSound::IsPlaying());
  service.Log();
  KXSound::TerminateKXSound();
  EXPECT_EQ(service.Log(), "at once 3;closed;");
  EXPECT_FALSE(KXSound::IsPlaying());
  KXSound::TerminateKXSound();
}

TEST(SoundPlay, BringsAiffSamplesIntoWaveForm) {
  Service service;
  KXSound::InitializeKXSound();
  service.aiff = {1, 600, 8, 4, 2};
  EXPECT_EQ(SoundFile("..\x80\x7F\x81\x05", "s.aif").Play(0, 0, 0), 1);
  EXPECT_EQ(service.samples, std::string("\x00\xFF\x01\x85", 4));
  service.aiff = {1, 600, 16, 2, 2};
  EXPECT_EQ(SoundFile("..\x12\x34\x56\x78", "s.aif").Play(0, 0, 0), 1);
  EXPECT_EQ(service.samples, "\x34\x12\x78\x56");
}

TEST(SoundPlay, FailuresLeaveSilence) {
  Service service;
  service.hasDevice = false;
  EXPECT_FALSE(KXSound::InitializeKXSound());
  service.isInstalled = false;
  EXPECT_TRUE(KXSound::InitializeKXSound());
  service.isInstalled = service.hasDevice = true;
  KXSound::InitializeKXSound();
  const SoundFile sound(Wave(1, 600, 8, Ramp(600)));
  for (const int code : {81, 13}) {
    service.refused = code;
    EXPECT_EQ(sound.Play(0, 0, 0), 0);
    EXPECT_FALSE(KXSound::IsPlaying());
    EXPECT_TRUE(service.Log().ends_with("at once 3;"));
    service.raising = code;
    EXPECT_EQ(CodeOf([&] { sound.Play(0, 0, 0); }), 4711);
    EXPECT_FALSE(KXSound::IsPlaying());
    EXPECT_TRUE(service.Log().ends_with("at once 3;"));
    service.refused = service.raising = 0;
  }
  for (const auto& [point, code] : {std::pair{kxw::detail::FaultPoint::kRead, 30},
                                    {kxw::detail::FaultPoint::kAlloc, 8},
                                    {kxw::detail::FaultPoint::kOpen, 5}}) {
    sound.Play(0, 0, 0);
    kxw::detail::ScopedFaults faults;
    faults.Fail(point, 1, code);
    EXPECT_EQ(CodeOf([&] { sound.Play(0, 0, 0); }), code);
    EXPECT_FALSE(KXSound::IsPlaying());
  }
  service.Log();
  std::filesystem::resize_file(sound.folder.Host() / "s.wav", 50);
  EXPECT_EQ(sound.Play(0, 0, 0), 1);
  EXPECT_EQ(service.samples, Ramp(6));
  std::filesystem::resize_file(sound.folder.Host() / "s.wav", 44);
  EXPECT_EQ(sound.Play(0, 0, 0), 0);
  std::filesystem::remove(sound.folder.Host() / "s.wav");
  EXPECT_EQ(CodeOf([&] { sound.Play(0, 0, 0); }), 2);
}

}  // namespace
