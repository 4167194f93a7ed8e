#include "common/program.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>

#include "kxwcmn/kxwcmn.h"

namespace examples {
namespace {

constexpr int kExitError = 2;
constexpr int kExitStopped = 130;

std::string WordsOf(KXException& failure, const MemoryOptions& memory) {
  std::string folder = "the temporary folder";
  if (!memory.swapFolder.empty()) {
    const u64 free = KXFilePath::GetDiskFreeSpaceA(memory.swapFolder.c_str()) >> 20;
    folder = memory.swapFolder + " (" + std::to_string(free) + " MiB free)";
  }
  switch (failure.GetErrorCode()) {
    case kxw::kFailureNoSwapName:
      return "no file can be made in " + folder;
    case kxw::kFailureNoSwapSpace:
      return "no swap file of " + std::to_string(memory.budget) + " MiB can be made in " + folder;
    case kxw::kErrorNotEnoughMemory:  // also when nothing more can be swapped out
      return "no room for the images, in memory or in " + folder;
    default:
      KXString words;
      failure.GetAlertMessage(words);
      return words.IsEmpty() ? "an unknown failure" : words.GetCStrPtr();
  }
}

}  // namespace

std::string_view Arguments::Value() {
  if (++index_ >= argc_) throw UserError(std::string(argv_[option_]) + " needs a value");
  return Word();
}

int Arguments::Number(int low, int high) {
  const std::string_view text = Value();
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < low || value > high) {
    throw UserError(std::string(argv_[option_]) + " takes a number from " + std::to_string(low) +
                    " to " + std::to_string(high) + ", not \"" + std::string(text) + "\"");
  }
  return value;
}

void Arguments::TakeName(const char* what, std::string& name) const {
  const std::string word(Word());
  if (word.starts_with("-")) throw UserError("unknown option " + word + "; --help lists them");
  if (!name.empty()) {
    throw UserError(std::string("more than one ") + what + ": " + name + " and " + word);
  }
  name = word;
}

bool MemoryOptions::Take(Arguments& arguments) {
  if (arguments.Word() == "--budget") {
    budget = arguments.Number(1, 4095);
  } else if (arguments.Word() == "--swap") {
    swapFolder = arguments.Value();
  } else {
    return false;
  }
  return true;
}

void MemoryOptions::CreateManager() const {
  KXFilePath folder;
  if (!swapFolder.empty()) folder.SetNativePath(swapFolder.c_str());
  kxGetVirtualMemory()->Create(static_cast<unsigned>(budget) << 20,
                               swapFolder.empty() ? nullptr : &folder);
}

int RunProgram(const char* name, const MemoryOptions& memory, const std::function<void()>& work) {
  std::string words;
  try {
    work();
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return 0;
    words = std::string("standard output: ") + std::strerror(errno);
  } catch (KXException& failure) {
    if (failure.GetErrorCode() == kxw::kFailureAborted) {
      std::fprintf(stderr, "%s: stopped\n", name);
      return kExitStopped;
    }
    words = WordsOf(failure, memory);
  } catch (const std::bad_alloc&) {
    words = "not enough memory";
  } catch (const std::exception& failure) {
    words = failure.what();
  }
  std::fprintf(stderr, "%s: %s\n", name, words.c_str());
  return kExitError;
}

}  // namespace examples
