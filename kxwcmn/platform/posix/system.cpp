#include "kxwcmn/platform/system.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>

namespace kxw {

namespace {

std::atomic<unsigned> forkGeneration = 0;
std::atomic<unsigned> forksBegun = 0;

std::atomic<pid_t> process = getpid();

[[maybe_unused]] const int watched = pthread_atfork([] { ++forksBegun; }, nullptr,
                                                    [] {
                                                      process = getpid();
                                                      ++forkGeneration;
                                                    });

}  // namespace

DWORD PageSize() {
  static const auto size = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
  return size;
}

unsigned ForkGeneration() { return forkGeneration.load(std::memory_order_relaxed); }

unsigned ForksBegun() { return forksBegun.load(std::memory_order_relaxed); }

void NoticeFork() {
  const pid_t now = getpid();
  if (process.exchange(now) == now) return;
  ++forksBegun;
  ++forkGeneration;
}

DWORD MillisecondClock() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace kxw
