// Saves are killed at every write, rename and sync in turn, and at moments of chance; what is found
// then must be the file before the save or the whole one after it. KXWCMN_CRASH_SECONDS makes the
// part of chance as long as one likes.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/persist/document.h"
#include "kxwcmn/persist/preferencefile.h"
#include "kxwcmn/persist/regkey.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/failure.h"
#include "tests/testfolder.h"

namespace {

using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

constexpr int kWords = 300000;  // more than two caches of an archive
constexpr int kLabels = 40;
constexpr FaultPoint kPoints[] = {FaultPoint::kWrite, FaultPoint::kRename, FaultPoint::kSync};

enum Kind { kDocument, kPreferences, kKey };

/// A document whose words all follow from one number; -1 when they do not.
struct Words : KXDocument {
  int number = 0;
  void Serialize(KXArchive& archive) override {
    if (!archive.IsLoading()) {
      WriteVersionInfo(archive);
      for (int i = 0; i < kWords; ++i) archive << number + i;
      return;
    }
    ReadVersionInfo(archive);
    archive >> number;
    for (int i = 1, word; i < kWords; ++i) {
      archive >> word;
      if (word != number + i) number = -1;
    }
    if (archive.GetLength() != 6 + 4 * kWords) number = -1;
  }
};

std::string Label(int i) { return "label " + std::to_string(i); }

void Save(const TestFolder& folder, Kind kind, int number) {
  if (kind == kDocument) {
    Words words;
    words.number = number;
    KXFilePath path = folder.Path("document").c_str();
    words.OnSaveDocument(&path);
    return;
  }
  // Values in turn come first and last, so that the merge moves them about.
  KXPreferenceFile file;
  KXRegKey key;
  if (kind == kKey) key.Open(folder.Path().c_str(), "a:b", 2);
  if (kind == kPreferences) file.OpenPreferenceFile(1, folder.Path("preferences").c_str());
  for (int i = 0; i < kLabels; ++i) {
    const std::string label = Label((i + number) % kLabels);
    if (kind == kKey) key.SetValue(number, label.c_str());
    if (kind == kPreferences) file.SetPreferenceFile(label.c_str(), number);
  }
  key.Close();
  file.ClosePreferenceFile();
}

/// The number that was saved, 0 if nothing was, -1 if what is there is not whole.
int Load(const TestFolder& folder, Kind kind) {
  if (kind == kDocument) {
    if (!folder.Has("document")) return 0;
    Words words;
    KXFilePath path = folder.Path("document").c_str();
    return CodeOf([&] { words.OnOpenDocument(path); }) == 0 ? words.number : -1;
  }
  KXPreferenceFile file;
  KXRegKey key;
  int found = kind == kKey
                  ? key.Open(folder.Path().c_str(), "a:b", 1) && folder.Has("a/b/?pref.pff")
                  : file.OpenPreferenceFile(0, folder.Path("preferences").c_str());
  if (!found) return 0;
  int first = -1;
  for (int i = 0; i < kLabels; ++i) {
    int number = -1;
    if (kind == kKey) key.GetValue(number, Label(i).c_str());
    if (kind == kPreferences) file.GetPreferenceFile(Label(i).c_str(), number);
    if (i == 0) first = number;
    if (number != first) return -1;
  }
  return first;
}

/// Saves in a child until it is killed, and looks at what it leaves.
class Campaign {
 public:
  explicit Campaign(Kind kind)
      : kind_(kind),
        saved_(static_cast<volatile int*>(mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE,
                                               MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  ~Campaign() { munmap(const_cast<int*>(saved_), sizeof(int)); }

  /// Kills the child at the passing `nth` of a point, behind `bytes` bytes of a write; false if it
  /// ended `saves` saves before.
  bool KillAt(FaultPoint point, int nth, int saves, u64 bytes) {
    const pid_t child = Start(saves, [=](ScopedFaults& faults) {
      faults.Act(
          point, nth, [] { raise(SIGKILL); }, bytes);
    });
    return IsKilled(child);
  }
  bool KillAfter(std::chrono::microseconds time) {
    const pid_t child = Start(1 << 30, [](ScopedFaults&) {});
    usleep(static_cast<useconds_t>(time.count()));
    kill(child, SIGKILL);
    return IsKilled(child);
  }
  int Kills() const { return kills_; }

 private:
  template <class Plan>
  pid_t Start(int saves, Plan plan) {
    *saved_ = last_;
    const pid_t child = fork();
    if (child != 0) return child;
    {
      ScopedFaults faults;
      plan(faults);
      for (int i = 0; i < saves; ++i) {
        Save(folder_, kind_, *saved_ + 1);
        *saved_ = *saved_ + 1;
      }
    }
    _exit(0);
  }

  bool IsKilled(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    const bool isKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(isKilled || (WIFEXITED(status) && WEXITSTATUS(status) == 0));
    kills_ += isKilled;
    const int found = Load(folder_, kind_);
    EXPECT_TRUE(found == *saved_ || (isKilled && found == *saved_ + 1))
        << found << " after " << *saved_ << " saves";
    last_ = found;
    // What was left half-made is nobody's any more.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.Host())) {
      if (entry.path().extension() == ".tmp") std::filesystem::remove(entry.path());
    }
    return isKilled;
  }

  Kind kind_;
  TestFolder folder_;
  volatile int* saved_;  // by the child
  int last_ = 0;
  int kills_ = 0;
};

int CrashSeconds() {
  const char* text = std::getenv("KXWCMN_CRASH_SECONDS");
  return text ? std::atoi(text) : 1;
}

TEST(Crash, LeavesTheOldFileOrTheNew) {
  int kills = 0;
  for (const Kind kind : {kDocument, kPreferences, kKey}) {
    SCOPED_TRACE(kind);
    Campaign campaign(kind);
    for (const u64 bytes : {0u, 1u, 1000u}) {
      for (const FaultPoint point : kPoints) {
        if (bytes > 0 && point != FaultPoint::kWrite) continue;
        int nth = 1;
        while (campaign.KillAt(point, nth, 3, bytes)) ++nth;
        EXPECT_GT(nth, 3);  // each save passes it
      }
    }
    std::mt19937 random(static_cast<unsigned>(kind));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(CrashSeconds());
    while (std::chrono::steady_clock::now() < end && !testing::Test::HasFailure()) {
      campaign.KillAfter(std::chrono::microseconds(random() % 20000));
    }
    kills += campaign.Kills();
  }
  std::printf("%d kills\n", kills);
}

TEST(Crash, FullDisksAndFailingSyncsLoseNothing) {
  for (const Kind kind : {kDocument, kPreferences, kKey}) {
    const TestFolder folder;
    Save(folder, kind, 1);
    for (const FaultPoint point : kPoints) {
      for (int nth = 1;; ++nth) {
        const int before = Load(folder, kind);
        int code;
        {
          ScopedFaults faults;
          const int fault =
              point == FaultPoint::kWrite ? int{kxw::kErrorDiskFull} : int{kxw::kErrorIoDevice};
          faults.Fail(point, nth, fault, 1, 700);
          // A destructor tries once more what failed, in vain here.
          code = CodeOf([&] { Save(folder, kind, before + 1); });
        }
        const int after = Load(folder, kind);
        ASSERT_TRUE(after == before + 1 || (after == before && code != 0)) << kind << ' ' << nth;
        if (code == 0) break;
      }
    }
  }
}

}  // namespace
