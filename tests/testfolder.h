#pragma once

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A new empty folder that goes with its contents when the test ends.
class TestFolder {
 public:
  TestFolder() {
    static std::atomic<int> counter = 0;
    host_ = std::filesystem::temp_directory_path() /
            ("kxwcmn_test_" + std::to_string(getpid()) + "_" + std::to_string(counter++));
    std::filesystem::create_directories(host_);
  }
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(host_, ignored);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  /// The path of `name` in this folder, with backslashes as the library has them.
  std::string Path(const std::string& name = "") const {
    std::string path = name.empty() ? host_.string() : (host_ / name).string();
    for (char& c : path) {
      if (c == '/') c = '\\';
    }
    return path;
  }

  const std::filesystem::path& Host() const { return host_; }

  void WriteFile(const std::string& name, const std::string& text) const {
    std::ofstream(host_ / name, std::ios::binary) << text;
  }

  std::string ReadFile(const std::string& name) const {
    std::ifstream file(host_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  bool Has(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(host_ / name));
  }

 private:
  std::filesystem::path host_;
};
