#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/desktop/sound.h"
#include "tests/desktop/soundfiles.h"
#include "tests/support/failure.h"
#include "tests/support/variable.h"
#include "tests/testfolder.h"

// The host's own service: a device of ALSA that writes what it plays into a pipe, and files of
// somebody else's writer, which is sox.

namespace {

using testing_kxw::Wave;

/// A device whose sound is read at the test's own pace: what nobody reads makes it wait.
class Device {
 public:
  explicit Device(const std::string& output = "")
      : pipe_((folder_.Host() / "pipe").string()),
        output_("KXWCMN_TEST_SOUND", output.empty() ? pipe_ : output),
        config_("ALSA_CONFIG_PATH", (folder_.Host() / "alsa.conf").string()) {
    folder_.WriteFile("alsa.conf",
                      "pcm.!default { type plug slave.pcm \"out\" }\n"
                      "pcm.out { type file slave.pcm { type null } format raw file {\n"
                      "  @func getenv vars [ KXWCMN_TEST_SOUND ] default \"/dev/null\" } }\n");
    mkfifo(pipe_.c_str(), 0600);
    end_ = open(pipe_.c_str(), O_RDWR | O_NONBLOCK);
    reader_ = std::thread([this] { Read(); });
  }
  ~Device() {
    KXSound::TerminateKXSound();
    isEnding_ = true;
    reader_.join();
    close(end_);
  }

  /// Reads no further than to `limit` bytes in all.
  void PauseAt(std::size_t limit) { limit_ = limit; }
  void Continue() { limit_ = static_cast<std::size_t>(-1); }
  std::size_t Heard() const { return size_; }
  /// Whether the device can give no more than nobody has read.
  bool IsFull() const {
    pollfd at{end_, POLLOUT, 0};
    return poll(&at, 1, 0) == 0;
  }

  /// What was played since the last call. Nothing plays any more.
  std::string Take() {
    for (pollfd at{end_, POLLIN, 0}; poll(&at, 1, 0) > 0;) Pause();
    isEnding_ = true;
    reader_.join();
    isEnding_ = false;
    size_ = 0;
    std::string heard;
    heard.swap(heard_);
    reader_ = std::thread([this] { Read(); });
    return heard;
  }

  static void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

 private:
  void Read() {
    while (!isEnding_) {
      char bytes[4096];
      const std::size_t most =
          std::min(sizeof bytes, limit_ - std::min<std::size_t>(limit_, size_));
      const ssize_t done = most ? read(end_, bytes, most) : 0;
      if (done > 0) {
        heard_.append(bytes, static_cast<std::size_t>(done));
        size_ = heard_.size();
      } else {
        Pause();
      }
    }
  }

  TestFolder folder_;
  std::string pipe_;
  ScopedVariable output_, config_;
  int end_ = -1;
  std::atomic<bool> isEnding_ = false;
  std::atomic<std::size_t> limit_ = static_cast<std::size_t>(-1), size_ = 0;
  std::string heard_;
  std::thread reader_;
};

/// Whether `condition` comes true within a minute.
template <class Condition>
bool Within(Condition condition) {
  for (int i = 0; i < 60000 && !condition(); ++i) Device::Pause();
  return condition();
}

bool HasEnded() {
  return Within([] { return !KXSound::IsPlaying(); });
}

class HostSound : public testing::Test {
 protected:
  void SetUp() override {
    if (!qmwIsInstallQT()) GTEST_SKIP() << "the host's libraries for sound are not there";
  }
  static bool HasSox() { return std::system("sox --version > /dev/null 2>&1") == 0; }

  /// A file made by sox of the raw samples, which have no header of their own.
  std::string Sox(const std::string& raw, int rate, int channels, int bits, const char* sign,
                  const std::string& name, const std::string& options = "") {
    folder.WriteFile("raw", raw);
    const std::string command = "cd '" + folder.Host().string() + "' && sox -D -t raw -r " +
                                std::to_string(rate) + " -c " + std::to_string(channels) + " -b " +
                                std::to_string(bits) + " -e " + sign + " raw --comment 'Take 7' " +
                                options + " " + name;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return folder.Path(name);
  }

  static std::string Noise(std::size_t size) {
    std::string bytes;
    unsigned state = static_cast<unsigned>(size);
    for (std::size_t i = 0; i < size; ++i) {
      state = state * 1664525 + 1013904223;
      bytes += static_cast<char>(state >> 24);
    }
    return bytes;
  }

  TestFolder folder;
};

TEST_F(HostSound, PlaysFilesOfAnotherWriterToTheLastSample) {
  if (!HasSox()) GTEST_SKIP() << "sox is not there";
  Device device;
  ASSERT_TRUE(KXSound::InitializeKXSound());
  for (const char* name : {"s.wav", "s.aif", "s.AIFF"}) {
    for (const int bits : {8, 16}) {
      for (const int channels : {1, 2}) {
        SCOPED_TRACE(testing::Message() << name << " " << bits << " " << channels);
        const int frame = channels * bits / 8;
        const std::string raw = Noise(static_cast<std::size_t>(4001 * frame));
        KXSound sound;
        ASSERT_EQ(
            sound.SetSoundFile(
                Sox(raw, 11025, channels, bits, bits == 8 ? "unsigned" : "signed", name).c_str()),
            1);
        EXPECT_EQ(sound.Play(0, 0, 0), 1);
        EXPECT_TRUE(HasEnded());
        EXPECT_TRUE(device.Take() == raw);
        EXPECT_EQ(sound.Play(1, 60, 120), 1);  // frames 1102 to 2205
        EXPECT_TRUE(HasEnded());
        EXPECT_TRUE(device.Take() == raw.substr(static_cast<std::size_t>(1102 * frame),
                                                static_cast<std::size_t>(1103 * frame)));
      }
    }
  }
}

TEST_F(HostSound, RefusesWhatItCannotReadInWords) {
  if (!HasSox()) GTEST_SKIP() << "sox is not there";
  const auto refused = [&](const std::string& path) {
    KXSound sound;
    KXString words;
    try {
      sound.SetSoundFile(path.c_str());
    } catch (const KXException& failure) {
      failure.GetAlertMessage(words);
    }
    return std::string(words.GetCStrPtr());
  };
  const std::string raw = Noise(600);
  EXPECT_EQ(refused(Sox(raw, 600, 1, 16, "signed", "c.aif", "-t aifc")),
            "File format not supported!");
  EXPECT_EQ(refused(Sox(raw, 600, 1, 16, "signed", "w.aif", "-b 24")),
            "File format not supported!");
  EXPECT_EQ(refused(Sox(raw, 600, 1, 16, "signed", "r.aif", "-t wav")), "Wrong file format!");
  EXPECT_NE(refused(folder.Path("none.aif")), "");
  // A file that ends anywhere is refused, or has no more than is there.
  Sox(raw, 600, 1, 16, "signed", "g.aif");
  const std::string good = folder.ReadFile("g.aif");
  for (std::size_t size = 0; size < good.size(); size += size < 200 ? 1 : 97) {
    folder.WriteFile("t.aif", good.substr(0, size));
    KXSound sound;
    if (CodeOf([&] { sound.SetSoundFile(folder.Path("t.aif").c_str()); }) != 0) continue;
    _SOUND_INFO info;
    sound.GetSoundInfo(info);
    EXPECT_LE(info.dataPosition + info.dataSize, size) << size;
  }
}

TEST_F(HostSound, EndsInTheMiddleAndGivesWayToAnother) {
  Device device;
  ASSERT_TRUE(KXSound::InitializeKXSound());
  const std::string first = Noise(2000000), second = Noise(60000);
  folder.WriteFile("1.wav", Wave(2, 44100, 16, first));
  folder.WriteFile("2.wav", Wave(1, 8000, 8, second));
  KXSound one, two;
  one.SetSoundFile(folder.Path("1.wav").c_str());
  two.SetSoundFile(folder.Path("2.wav").c_str());
  device.PauseAt(10000);
  EXPECT_EQ(one.Play(0, 0, 0), 1);
  EXPECT_TRUE(Within([&] { return device.Heard() == 10000; }));
  EXPECT_TRUE(KXSound::IsPlaying());
  KXSound::Stop();  // while the device hangs
  EXPECT_FALSE(KXSound::IsPlaying());
  device.Continue();
  EXPECT_EQ(two.Play(0, 0, 0), 1);
  EXPECT_TRUE(HasEnded());
  const std::string heard = device.Take();
  ASSERT_GT(heard.size(), 10000 + second.size());
  EXPECT_LT(heard.size(), first.size());
  EXPECT_TRUE(heard.substr(heard.size() - second.size()) == second);
  EXPECT_TRUE(first.starts_with(heard.substr(0, 10000)));

  EXPECT_EQ(one.Play(0, 0, 0), 1);
  EXPECT_EQ(two.Play(0, 0, 0), 1);  // over what plays
  EXPECT_TRUE(HasEnded());
  EXPECT_TRUE(device.Take().ends_with(second));
}

TEST_F(HostSound, NoOtherWayOpensWhileADeviceHangs) {
  Device device;
  ASSERT_TRUE(KXSound::InitializeKXSound());
  folder.WriteFile("s.wav", Wave(2, 44100, 16, Noise(1000000)));
  KXSound sound;
  sound.SetSoundFile(folder.Path("s.wav").c_str());
  device.PauseAt(5000);
  EXPECT_EQ(sound.Play(0, 0, 0), 1);
  EXPECT_TRUE(Within([&] { return device.IsFull(); }));
  for (int i = 0; i < 200; ++i) Device::Pause();  // the next piece hangs
  KXSound::TerminateKXSound();
  EXPECT_FALSE(KXSound::IsPlaying());
  EXPECT_FALSE(KXSound::InitializeKXSound());
  EXPECT_EQ(sound.Play(0, 0, 0), 0);
  device.Continue();
  EXPECT_TRUE(Within([] { return KXSound::InitializeKXSound(); }));
  EXPECT_EQ(sound.Play(0, 0, 0), 1);
}

TEST_F(HostSound, BeginsAndEndsHundredsOfTimes) {
  Device device;
  ASSERT_TRUE(KXSound::InitializeKXSound());
  folder.WriteFile("s.wav", Wave(1, 8000, 8, Noise(3000)));
  KXSound sound;
  sound.SetSoundFile(folder.Path("s.wav").c_str());
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(sound.Play(0, 0, 0), 1) << i;
    if (i % 3 == 0) KXSound::Stop();
    if (i % 3 == 1) {
      EXPECT_TRUE(HasEnded()) << i;
    }
    if (i % 100 == 99) {
      KXSound::TerminateKXSound();
      ASSERT_FALSE(KXSound::IsPlaying());
      ASSERT_TRUE(KXSound::InitializeKXSound());
    }
  }
}

TEST_F(HostSound, ADeviceThatFailsEndsTheSound) {
  {
    Device device("/dev/full");
    ASSERT_TRUE(KXSound::InitializeKXSound());
    folder.WriteFile("s.wav", Wave(1, 8000, 8, Noise(300000)));
    KXSound sound;
    sound.SetSoundFile(folder.Path("s.wav").c_str());
    sound.Play(0, 0, 0);
    EXPECT_TRUE(HasEnded());
  }
  folder.WriteFile("none.conf", "pcm.!default { type hw card 99 }\n");
  const ScopedVariable none("ALSA_CONFIG_PATH", (folder.Host() / "none.conf").string());
  EXPECT_FALSE(KXSound::InitializeKXSound());
}

}  // namespace
