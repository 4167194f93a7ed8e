#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/// Asks until it is so; false if that has not come in two minutes, on a machine however slow.
inline bool WaitFor(const std::function<bool()>& isSo) {
  for (int i = 0; i < 2400; ++i) {
    if (isSo()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return false;
}

/// A program that runs beside the test, and ends with it.
class Process {
 public:
  /// `words` end with a null, as those of execvp. Its output goes to `out`, if that is not empty;
  /// `inherited` is a file of ours that it keeps.
  Process(const std::vector<std::string>& words, const std::string& out, int inherited = -1) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    id_ = fork();
    if (id_ < 0) throw std::runtime_error("no process can be made");
    if (id_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // it stays behind no test that is ended from outside
    const int file = open(out.empty() ? "/dev/null" : out.c_str(), O_CREAT | O_WRONLY, 0600);
    dup2(file, 1);
    dup2(file, 2);
    if (inherited >= 0) fcntl(inherited, F_SETFD, 0);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() {
    if (HasEnded()) return;
    kill(id_, SIGKILL);
    waitpid(id_, &status_, 0);
  }

  bool HasEnded() {
    if (!hasEnded_) hasEnded_ = waitpid(id_, &status_, WNOHANG) == id_;
    return hasEnded_;
  }
  /// -1 where it did not end by itself.
  int ExitStatus() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }

 private:
  pid_t id_;
  bool hasEnded_ = false;
  int status_ = -1;
};

/// A display in memory, of a size of its own, whose pixels can be looked at.
class XDisplay {
 public:
  /// Its files lie in `folder`.
  explicit XDisplay(const std::string& folder) : file_(folder + "/Xvfb_screen0") {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    // Without -noreset it would begin anew, and answer nobody, whenever its last client leaves.
    server_ = std::make_unique<Process>(
        std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0",
                                 "900x700x24", "-noreset", "-fbdir", folder, "-nolisten", "tcp"},
        "", ends[1]);
    close(ends[1]);
    pollfd wait = {ends[0], POLLIN, 0};
    char text[16] = {};
    // It tells its number when it can be used.
    for (ssize_t length = 0, read; poll(&wait, 1, 120000) == 1; length += read) {
      read = ::read(ends[0], text + length, sizeof text - 1 - static_cast<std::size_t>(length));
      if (read <= 0 || text[length + read - 1] == '\n') break;
    }
    close(ends[0]);
    number_ = std::atoi(text);
    isThere_ = text[0] != 0;
  }

  bool IsThere() const { return isThere_; }
  /// As the variable DISPLAY has it.
  std::string Name() const { return std::string(":") += std::to_string(number_); }

  /// The colours of a part of the screen, as 0xRRGGBB.
  std::vector<unsigned> Pixels(int left, int top, int width, int height) const {
    std::ifstream file(file_, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    // The file has a head of big-endian words, colours of 12 bytes, and the pixels.
    const auto word = [&](std::size_t index) {
      std::uint32_t value = 0;
      for (std::size_t i = 0; i < 4 && 4 * index + i < bytes.size(); ++i) {
        value = value << 8 | static_cast<unsigned char>(bytes[4 * index + i]);
      }
      return std::size_t{value};
    };
    const std::size_t first = word(0) + 12 * word(19), rowBytes = word(12);
    std::vector<unsigned> pixels;
    if (word(11) != 32) return pixels;
    for (int y = top; y < top + height; ++y) {
      for (int x = left; x < left + width; ++x) {
        const std::size_t at =
            first + static_cast<std::size_t>(y) * rowBytes + 4 * static_cast<std::size_t>(x);
        if (at + 3 >= bytes.size()) return {};
        const auto byte = [&](std::size_t i) {
          return static_cast<unsigned>(static_cast<unsigned char>(bytes[at + i]));
        };
        pixels.push_back(byte(2) << 16 | byte(1) << 8 | byte(0));
      }
    }
    return pixels;
  }

 private:
  std::string file_;
  std::unique_ptr<Process> server_;
  int number_ = 0;
  bool isThere_ = false;
};
