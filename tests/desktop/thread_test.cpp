#include "kxwcmn/desktop/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "kxwcmn/core/exception.h"

namespace {

constexpr UINT kLong = 60000;  // no test waits that long unless it fails

/// A thread whose work the test gives.
class Worker : public KXThread {
 public:
  explicit Worker(std::function<int(Worker&, void*)> work = nullptr) : work_(std::move(work)) {}

  int RunThread(void* parameter) override {
    return work_ ? work_(*this, parameter) : KXThread::RunThread(parameter);
  }
  using KXThread::GetThread;

 private:
  std::function<int(Worker&, void*)> work_;
};

TEST(Thread, RunsWithItsParameterUntilItsEnd) {
  int got = 0;  // plain memory: the wait is what makes the thread's writes visible
  Worker worker([](Worker&, void* parameter) {
    thread_local struct Late {
      ~Late() {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        *at += 1;
      }
      int* at = nullptr;
    } late;
    late.at = static_cast<int*>(parameter);
    *late.at = 40;
    return 7;
  });
  EXPECT_TRUE(worker.CreateThread(&got));
  const auto thread = worker.GetThread();
  EXPECT_EQ(worker.WaitForSignal(), 0);
  EXPECT_EQ(got, 41);
  EXPECT_EQ(worker.WaitForSignal(), 0);
  EXPECT_EQ(thread->ExitCode(), 7);
  EXPECT_EQ(worker.CloseThread(), 1);

  Worker failing([](Worker& self, void*) -> int {
    EXPECT_EQ(self.WaitForSignal(), -1);  // it would never end
    kxThrowError(kxw::kFailureAborted);
  });
  failing.CreateThread(nullptr);
  failing.WaitForSignal();
  EXPECT_EQ(failing.GetThread()->ExitCode(), 0x20010004);
  EXPECT_NE(failing.GetThread()->Id(), thread->Id());
}

TEST(Thread, WithoutOneNothingIsWaitedFor) {
  KXThread thread;
  EXPECT_EQ(thread.Sleep(kLong), 0);
  EXPECT_EQ(thread.WaitForSignal(), 128);
  EXPECT_EQ(thread.Abort(), 0);
  EXPECT_EQ(thread.CloseThread(), 1);
  thread.WakeUp();
  thread.SetAbortProc([] { return 5; });
  EXPECT_EQ(thread.Abort(), 5);
}

TEST(Thread, SleepsUntilItIsWokenOrTheTimeRunsOut) {
  std::atomic<int> wokenAtOnce = -1, ranOut = -1;
  Worker worker([&](Worker& self, void*) {
    wokenAtOnce = self.Sleep(kLong);
    const auto begin = std::chrono::steady_clock::now();
    ranOut = self.Sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
    return self.Sleep(0xFFFFFFFF);
  });
  worker.CreateThread(nullptr);
  worker.WakeUp();
  while (ranOut < 0) std::this_thread::yield();
  worker.WakeUp();  // before the last sleep or in it
  EXPECT_EQ(worker.WaitForSignal(), 0);
  EXPECT_EQ(wokenAtOnce, 0);
  EXPECT_EQ(ranOut, 1);
  EXPECT_EQ(worker.GetThread()->ExitCode(), 0);
}

// Three wakings of a thread that is awake are one.
TEST(Thread, WakingResetsItself) {
  Worker worker([](Worker& self, void* mayStart) {
    while (!*static_cast<std::atomic<bool>*>(mayStart)) std::this_thread::yield();
    return 10 * self.Sleep(kLong) + self.Sleep(1);
  });
  std::atomic<bool> mayStart = false;
  worker.CreateThread(&mayStart);
  for (int i = 0; i < 3; ++i) worker.WakeUp();
  mayStart = true;
  worker.WaitForSignal();
  EXPECT_EQ(worker.GetThread()->ExitCode(), 1);
}

TEST(Thread, CopiesShareWhatEitherMayClose) {
  std::atomic<bool> hasEnded = false;
  Worker worker([&](Worker& self, void*) {
    self.Sleep(kLong);
    return (hasEnded = true), 0;
  });
  worker.SetAbortProc([] { return 3; });
  worker.CreateThread(nullptr);
  KXThread copy(worker), assigned;
  { const KXThread gone(copy); }
  assigned = copy;
  assigned = *&assigned;
  copy.CloseThread();
  EXPECT_EQ(copy.WaitForSignal(), 128);
  EXPECT_FALSE(hasEnded);
  assigned.WakeUp();
  EXPECT_EQ(assigned.WaitForSignal(), 0);
  EXPECT_TRUE(hasEnded);
  EXPECT_EQ(worker.WaitForSignal(), 0);
  EXPECT_EQ(assigned.Abort(), 3);
}

// A closed thread runs on: it is woken, or finds no event. The object can have another one at once.
TEST(Thread, ManyAreWokenClosedAndMadeAnew) {
  std::atomic<int> ended = 0;
  std::vector<std::unique_ptr<Worker>> workers;
  for (int i = 0; i < 8; ++i) {
    workers.push_back(std::make_unique<Worker>([&](Worker& self, void*) {
      self.Sleep(kLong);
      return ++ended, 0;
    }));
  }
  for (int round = 0; round < 50; ++round) {
    std::vector<std::shared_ptr<kxw::Thread>> threads;
    for (auto& worker : workers) {
      worker->CreateThread(nullptr);
      threads.push_back(worker->GetThread());
      worker->WakeUp();
      const KXThread copy(*worker);
      worker->CloseThread();
    }
    for (auto& thread : threads) thread->Wait(kxw::kWaitForever);
  }
  EXPECT_EQ(ended, 50 * 8);
}

}  // namespace
