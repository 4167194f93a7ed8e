#pragma once

namespace paintcel {

/// Lets the library ask for a Ctrl-C of the user, and, unless `quiet` or standard error is no
/// terminal, show its progress there. To be called once, before any work.
void ConnectConsole(bool quiet);

}  // namespace paintcel
