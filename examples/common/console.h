#pragma once

namespace examples {

/// Lets the library ask for a Ctrl-C of the user, and, unless `quiet` is set or standard error is
/// no terminal, show its progress there. To be called once, before any work.
void ConnectConsole(bool quiet);

}  // namespace examples
