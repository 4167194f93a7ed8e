#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace examples {

/// A wish that cannot be met as it is told; `what()` is one line for the user.
class UserError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The words of a command line, one after the other.
class Arguments {
 public:
  Arguments(int argc, char** argv) : argc_(argc), argv_(argv) {}

  /// Goes on to the next word, at first to the one behind the program's name; false at the end.
  bool Next() {
    option_ = ++index_;
    return index_ < argc_;
  }
  std::string_view Word() const { return argv_[index_]; }

  /// Goes on to the word behind an option or its last value, which is its value. Raises UserError,
  /// which names the option, if there is none, or if it is no number from `low` to `high`.
  std::string_view Value();
  int Number(int low, int high);
  /// Takes the word as the one `what`, such as "picture", that a program is about, into `name`.
  /// Raises UserError for an option, which nobody knew then, and for a second name.
  void TakeName(const char* what, std::string& name) const;

 private:
  int argc_;
  char** argv_;
  int index_ = 0;
  int option_ = 0;  // the word that values belong to
};

/// What the pixels of a program's images may use.
struct MemoryOptions {
  int budget = 64;         ///< MiB of memory.
  std::string swapFolder;  ///< Empty for a private folder among the host's temporary ones.

  /// Takes --budget and --swap; false for any other word.
  bool Take(Arguments& arguments);
  /// Gives them to the manager of the process. Raises what that raises.
  void CreateManager() const;
};

/// Does the work of a program and returns its exit status: 0; 2 for a failure, which is told in one
/// line on standard error; 130 when the user has stopped it. `memory` is looked at after a failure.
int RunProgram(const char* name, const MemoryOptions& memory, const std::function<void()>& work);

}  // namespace examples
