#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// What a wait comes to, with the platform's own values.
enum WaitResult : int {
  kWaitFailed = -1,
  kWaitSignalled = 0,
  kWaitAbandoned = 128,
  kWaitTimedOut = 258,
};

/// As milliseconds of a wait: without limit.
inline constexpr DWORD kWaitForever = 0xFFFFFFFF;

/// An event that one waiter takes: a signal wakes one of them, or the next that comes. Signals that
/// nobody has taken count as one. For any number of threads.
class KX_EXPORT WakeEvent {
 public:
  void Signal();
  /// Whether the signal came before the time ran out.
  bool Wait(DWORD milliseconds);

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isSignalled_ = false;
};

/// A thread of the host, owned by all who have the pointer. It runs on when the last of them lets
/// it go.
class KX_EXPORT Thread {
 public:
  /// Starts a thread whose exit code is what `run` returns. Null if the host has none to give.
  ///
  /// A host with a component library initialises it for the thread around `run`; this one has none.
  static std::shared_ptr<Thread> Start(std::function<int()> run);

  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  ~Thread();

  /// A number that no other thread of the process has had.
  DWORD Id() const { return id_; }

  /// Waits for its end: then nothing of it is left, not even what belongs to the thread alone.
  /// `kWaitSignalled`, `kWaitTimedOut`, or `kWaitFailed` for a thread that waits for itself. The
  /// limit is for `run`: what comes behind it is short, and waited for whatever the limit.
  WaitResult Wait(DWORD milliseconds);

  /// 259 while it runs.
  int ExitCode();

 private:
  Thread();
  void Run(const std::function<int()>& run);

  const DWORD id_;
  std::mutex mutex_;  // of the three below
  std::condition_variable ended_;
  bool hasEnded_ = false;
  int exitCode_ = 259;
  std::mutex joining_;
  std::thread thread_;
};

}  // namespace kxw
