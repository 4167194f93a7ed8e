#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// Runs a fuzz target over the files and folders that are named, where there is no libFuzzer.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void Run(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string input{std::istreambuf_iterator<char>(file), {}};
  std::fprintf(stderr, "%s\n", path.c_str());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      Run(argv[i]);
      ++count;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      Run(entry.path());
      ++count;
    }
  }
  if (count == 0) std::fprintf(stderr, "no inputs\n");
  return count == 0;
}
