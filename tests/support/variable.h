#pragma once

#include <cstdlib>
#include <string>

/// Sets a variable of the environment while it lives.
struct ScopedVariable {
  ScopedVariable(const char* n, const std::string& value) : name(n) {
    if (const char* before = std::getenv(n)) old = before;
    setenv(n, value.c_str(), 1);
  }
  ~ScopedVariable() { old.empty() ? unsetenv(name) : setenv(name, old.c_str(), 1); }
  const char* name;
  std::string old;
};
