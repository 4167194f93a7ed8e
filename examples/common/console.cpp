#include "common/console.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <utility>

namespace examples {
namespace {

volatile std::sig_atomic_t stopWanted = 0;

void OnInterrupt(int) { stopWanted = 1; }

WatchedOperation* watched = nullptr;
std::function<bool()> alsoAsked;

int OnAsked() {
  if (watched) watched->Look();
  return stopWanted || (alsoAsked && alsoAsked());
}

/// The one progress bar of the process.
struct Bar {
  static constexpr int kWidth = 40;
  std::string text;
  int steps = 0;
  int done = 0;
  int shown = -1;

  void Show() {
    const int percent = steps > 0 ? static_cast<int>(100LL * done / steps) : 100;
    if (percent == shown || percent > 100) return;
    shown = percent;
    const std::string marks(static_cast<std::size_t>(percent * kWidth / 100), '#');
    std::fprintf(stderr, "\r%-20s [%-*s] %3d %%", text.c_str(), kWidth, marks.c_str(), percent);
  }
} bar;

int CreateBar(int steps, const char* text) {
  bar = Bar{text, steps};
  bar.Show();
  return 1;
}

void StepBar() {
  ++bar.done;
  bar.Show();
}

void DestroyBar() {
  if (bar.shown >= 0) std::fprintf(stderr, "\r\033[K");  // back to the line's start, and clear it
  bar.shown = -1;
}

}  // namespace

void ConnectConsole(bool quiet) {
  std::signal(SIGINT, OnInterrupt);
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a failure, not the end
  KXAbort::SetCallback(OnAsked);
  if (quiet || !isatty(STDERR_FILENO)) return;
  KXProgressBar::SetCreateProc(CreateBar);
  KXProgressBar::SetStepProc(StepBar);
  KXProgressBar::SetDestroyProc(DestroyBar);
}

bool IsStopWanted() { return stopWanted != 0; }

void AskForStop(std::function<bool()> isStopped) { alsoAsked = std::move(isStopped); }

constexpr int kWatchedSteps = 100;

WatchedOperation::WatchedOperation(const char* text, std::function<double()> done)
    : done_(std::move(done)), progress_(kWatchedSteps, text) {
  watched = this;
}

WatchedOperation::~WatchedOperation() { watched = nullptr; }

void WatchedOperation::Look() {
  for (const double steps = kWatchedSteps * done_(); shown_ < steps && shown_ < kWatchedSteps;) {
    ++shown_;
    progress_.Step();
  }
}

}  // namespace examples
