#pragma once

#include <functional>

#include "kxwcmn/kxwcmn.h"

namespace examples {

/// Lets the library ask for a Ctrl-C of the user, and, unless `quiet` is set or standard error is
/// no terminal, show its progress there. To be called once, before any work.
void ConnectConsole(bool quiet);

/// Whether Ctrl-C was pressed.
bool IsStopWanted();

/// Has the library ask `isStopped` too, which may be empty, beside looking for a Ctrl-C.
void AskForStop(std::function<bool()> isStopped);

/// Shows the progress of an operation of the library that does not tell it: whenever it asks for
/// the user's wish to stop, `done` is asked in turn for the share that is done, from 0 to 1. One at
/// a time.
class WatchedOperation {
 public:
  WatchedOperation(const char* text, std::function<double()> done);
  WatchedOperation(const WatchedOperation&) = delete;
  WatchedOperation& operator=(const WatchedOperation&) = delete;
  ~WatchedOperation();

  /// Brings the display up to date.
  void Look();

 private:
  std::function<double()> done_;
  KXProgressBar progress_;
  int shown_ = 0;
};

}  // namespace examples
