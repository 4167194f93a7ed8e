#include "kxwcmn/desktop/thread.h"

#include <utility>

#include "kxwcmn/core/exception.h"

KXThread::KXThread(const KXThread& other) { *this = other; }

KXThread& KXThread::operator=(const KXThread& other) {
  if (this == &other) return *this;
  const std::scoped_lock lock(mutex_, other.mutex_);
  thread_ = other.thread_;
  threadId_ = other.threadId_;
  parameter_ = other.parameter_;
  abortProc_ = other.abortProc_;
  wakeEvent_ = other.wakeEvent_;
  return *this;
}

KXThread::~KXThread() { CloseThread(); }

int KXThread::CreateThread(void* parameter) {
  const std::lock_guard lock(mutex_);  // the thread finds its event when all is set
  auto event = std::make_shared<kxw::WakeEvent>();
  auto thread = kxw::Thread::Start([this, parameter] {
    try {
      return RunThread(parameter);
    } catch (const KXException& failure) {
      return failure.GetErrorCode();
    }
  });
  parameter_ = parameter;
  wakeEvent_ = std::move(event);
  thread_ = std::move(thread);
  threadId_ = thread_ ? thread_->Id() : 0;
  return thread_ != nullptr;
}

int KXThread::CloseThread() {
  const std::lock_guard lock(mutex_);
  thread_.reset();
  threadId_ = 0;
  parameter_ = nullptr;
  wakeEvent_.reset();
  return 1;
}

int KXThread::Sleep(UINT milliseconds) {
  const auto event = GetWakeEvent();
  return event && !event->Wait(milliseconds);
}

void KXThread::WakeUp() {
  if (const auto event = GetWakeEvent()) event->Signal();
}

int KXThread::WaitForSignal() {
  const auto thread = GetThread();
  return thread ? thread->Wait(kxw::kWaitForever) : kxw::kWaitAbandoned;
}

void KXThread::SetAbortProc(int (*procedure)()) {
  const std::lock_guard lock(mutex_);
  abortProc_ = procedure;
}

int KXThread::Abort() {
  int (*procedure)() = nullptr;
  {
    const std::lock_guard lock(mutex_);
    procedure = abortProc_;
  }
  return procedure ? procedure() : 0;
}

int KXThread::RunThread(void*) { return 0; }

std::shared_ptr<kxw::Thread> KXThread::GetThread() const {
  const std::lock_guard lock(mutex_);
  return thread_;
}

std::shared_ptr<kxw::WakeEvent> KXThread::GetWakeEvent() const {
  const std::lock_guard lock(mutex_);
  return wakeEvent_;
}
