#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// Runs one of the examples as a user does, in a folder of its own.
class ProgramTest : public testing::Test {
 protected:
  explicit ProgramTest(const std::string& program) : program_(program) {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
  }
  ~ProgramTest() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }

  /// A text as one word of the shell.
  static std::string Quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) result += c == '\'' ? "'\\''" : std::string(1, c);
    return result + "'";
  }

  /// Runs a command of the shell; returns its exit status, and leaves its output of both kinds in
  /// `output_`.
  int Shell(const std::string& command) {
    std::FILE* pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
    output_.clear();
    for (int c; (c = std::fgetc(pipe)) != EOF;) output_ += static_cast<char>(c);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  int Run(const std::string& arguments) { return Shell(program_ + " " + arguments); }

  void ExpectComplaint(const std::string& arguments, const std::string& words,
                       const std::string& before = "") {
    EXPECT_EQ(Shell(before + program_ + " " + arguments), 2) << arguments << ": " << output_;
    EXPECT_NE(output_.find(words), std::string::npos) << arguments << ": " << output_;
    EXPECT_EQ(output_.find('\n'), output_.size() - 1) << arguments << ": " << output_;
  }

  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }
  static std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const std::string program_;
  const std::filesystem::path folder_ =
      std::filesystem::path(testing::TempDir()) / ("kxwcmn_examples_" + std::to_string(getpid()));
  std::string output_;
};
