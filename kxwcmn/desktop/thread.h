#pragma once

#include <memory>
#include <mutex>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/thread.h"
#include "kxwcmn/platform/types.h"

/// Runs `RunThread` on a thread of its own, and gives it an event to sleep on.
///
/// The object belongs to whoever made it, and must outlive the thread: wait for the thread before
/// the object goes, and before that in the destructor of a derived class, whose `RunThread` it is.
/// A copy shares thread and event: either can be woken and waited for through each of the two, and
/// closing one leaves them to the other. It is the first object's `RunThread` that runs.
/// `WakeUp`, `Abort`, `Sleep` and `CloseThread` may be called on any thread at any time.
class KX_EXPORT KXThread {
 public:
  KXThread() = default;
  KXThread(const KXThread& other);
  KXThread& operator=(const KXThread& other);
  /// As `CloseThread`.
  virtual ~KXThread();

  /// Starts a thread that calls `RunThread(parameter)`, and makes a new wake event before that.
  /// Returns whether there is a thread. One that was there runs on, as after `CloseThread`.
  int CreateThread(void* parameter);

  /// Gives up thread, event and parameter; a running thread is not stopped, and finds no event any
  /// more when it is to sleep. A sleep under way goes on. Returns 1.
  int CloseThread();

  /// Waits for `WakeUp` as long as told, without limit for 0xFFFFFFFF. Returns 1 if the time ran
  /// out, and 0 if it was woken or if there is no event. Meant for the thread itself.
  int Sleep(UINT milliseconds);

  /// Wakes the sleep under way, or lets the next one end at once.
  void WakeUp();

  /// Waits for the thread's end without limit and returns 0. Without a thread it returns 128, on
  /// the thread itself -1.
  int WaitForSignal();

  /// Sets what `Abort` calls: whatever tells the thread to come to its end. Null for nothing.
  void SetAbortProc(int (*procedure)());

  /// Calls that procedure and returns its result; 0 without one. No thread is ended by force.
  int Abort();

 protected:
  /// The work; what it returns is the thread's exit code. A KXException that leaves it ends the
  /// thread with the failure's code, any other exception the process.
  virtual int RunThread(void* parameter);

  /// The thread with its exit code; null if there is none.
  std::shared_ptr<kxw::Thread> GetThread() const;

 private:
  std::shared_ptr<kxw::WakeEvent> GetWakeEvent() const;

  mutable std::mutex mutex_;  // of the fields below
  std::shared_ptr<kxw::Thread> thread_;
  DWORD threadId_ = 0;
  void* parameter_ = nullptr;
  int (*abortProc_)() = nullptr;
  std::shared_ptr<kxw::WakeEvent> wakeEvent_;
};
