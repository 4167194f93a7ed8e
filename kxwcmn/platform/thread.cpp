#include "kxwcmn/platform/thread.h"

#include <atomic>
#include <chrono>
#include <system_error>
#include <utility>

namespace kxw {

namespace {

std::atomic<DWORD> lastId = 0;

/// Waits until `isDone` or the time runs out; says whether it is done.
template <class Done>
bool WaitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
               DWORD milliseconds, Done isDone) {
  if (milliseconds != kWaitForever) {
    return changed.wait_for(lock, std::chrono::milliseconds(milliseconds), isDone);
  }
  changed.wait(lock, isDone);
  return true;
}

}  // namespace

void WakeEvent::Signal() {
  const std::lock_guard lock(mutex_);
  isSignalled_ = true;
  changed_.notify_one();
}

bool WakeEvent::Wait(DWORD milliseconds) {
  std::unique_lock lock(mutex_);
  if (!WaitUntil(changed_, lock, milliseconds, [this] { return isSignalled_; })) return false;
  isSignalled_ = false;
  return true;
}

Thread::Thread() : id_(++lastId) {}

Thread::~Thread() {
  if (thread_.joinable()) thread_.detach();
}

std::shared_ptr<Thread> Thread::Start(std::function<int()> run) {
  const std::shared_ptr<Thread> made(new Thread);
  try {
    // The thread holds itself: it may outlive all who know it.
    const std::lock_guard lock(made->joining_);
    made->thread_ = std::thread([made, run = std::move(run)] { made->Run(run); });
  } catch (const std::system_error&) {
    return nullptr;
  }
  return made;
}

void Thread::Run(const std::function<int()>& run) {
  // Also where the host ends the thread in its midst.
  struct AtEnd {
    ~AtEnd() {
      const std::lock_guard lock(thread->mutex_);
      thread->hasEnded_ = true;
      thread->exitCode_ = exitCode;
      thread->ended_.notify_all();
    }
    Thread* thread;
    int exitCode = 0;
  } end{this};
  end.exitCode = run();
}

WaitResult Thread::Wait(DWORD milliseconds) {
  {
    const std::lock_guard lock(joining_);
    if (thread_.get_id() == std::this_thread::get_id()) return kWaitFailed;
  }
  {
    std::unique_lock lock(mutex_);
    if (!WaitUntil(ended_, lock, milliseconds, [this] { return hasEnded_; })) return kWaitTimedOut;
  }
  // What is left of the thread is short, and only one of its waiters can join it.
  const std::lock_guard lock(joining_);
  if (thread_.joinable()) thread_.join();
  return kWaitSignalled;
}

int Thread::ExitCode() {
  const std::lock_guard lock(mutex_);
  return exitCode_;
}

}  // namespace kxw
