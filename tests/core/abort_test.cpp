#include "kxwcmn/core/abort.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "kxwcmn/core/criticalsection.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/progressbar.h"
#include "kxwcmn/platform/host.h"

namespace {

const char* answers = "";  // what the callback gives, in order; then always 0

int NextAnswer() { return *answers ? *answers++ - '0' : 0; }

TEST(Abort, AsksAgainWhileNothingIsDecided) {
  std::string dispatched;
  kxw::HostProcedures host;
  host.dispatchMessages = [&](UINT message) { dispatched += std::to_string(message) + ' '; };
  kxw::SetHostProcedures(host);
  KXAbort::SetCallback(&NextAnswer);
  answers = "2220";
  EXPECT_EQ(KXAbort().CheckAbort(), 0);
  EXPECT_EQ(dispatched, "15 20 15 20 15 20 ");
  answers = "3";
  EXPECT_EQ(KXAbort().CheckAbort(), 0);
  answers = "21";
  EXPECT_EQ(KXAbort(0).CheckAbort(), 1);
  answers = "1";
  try {
    KXAbort().CheckAbort();
    ADD_FAILURE();
  } catch (const KXException& failure) {
    EXPECT_EQ(failure.GetErrorCode(), 0x20010004);
  }
  KXAbort::SetCallback(nullptr);
  kxw::SetHostProcedures({});
}

TEST(Abort, WithoutACallbackAnyAnswerOfTheHostStops) {
  EXPECT_EQ(qmAbort(), 0);
  EXPECT_EQ(KXAbort(0).CheckAbort(), 0);
  kxw::HostProcedures host;
  host.abort = [] { return 2; };
  kxw::SetHostProcedures(host);
  EXPECT_EQ(KXAbort(0).CheckAbort(), 1);
  kxw::SetHostProcedures({});
}

std::string calls;

TEST(ProgressBar, CallsItsProceduresWhateverItsState) {
  EXPECT_EQ(KXProgressBar(3, "text").Create(3, "text"), 1);  // headless
  KXProgressBar::SetCreateProc([](int steps, const char* text) {
    calls += "create" + std::to_string(steps) + text + ' ';
    return 5;
  });
  KXProgressBar::SetStepProc([] { calls += "step "; });
  KXProgressBar::SetDestroyProc([] { calls += "destroy "; });
  { KXProgressBar unused; }
  {
    KXProgressBar bar;
    bar.Step();
    EXPECT_EQ(bar.Create(3, "t"), 5);
    bar.Destroy();
    const KXProgressBar copy = bar;
  }
  EXPECT_EQ(calls, "step destroy create3t destroy destroy destroy ");
  KXProgressBar::SetCreateProc(nullptr);
  KXProgressBar::SetStepProc(nullptr);
  KXProgressBar::SetDestroyProc(nullptr);
}

TEST(CriticalSection, LetsOneThreadInAndIsLeftOnce) {
  KXCriticalSection section;
  section.LeaveSection();  // no lock yet: nothing happens
  section.Initialize();
  section.Initialize();
  int count = 0;
  const auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      const KXCriticalSectionAutoLeave outer(&section);
      KXCriticalSectionAutoLeave inner;
      inner.Enter(&section);
      inner.Enter(nullptr);
      ++count;
      inner.Leave();
      inner.Leave();
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(count, 40000);
  section.Delete();
}

}  // namespace
