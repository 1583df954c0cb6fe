// Runs a fuzz target over stored inputs: every file of the folders that are named and exist.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    if (std::filesystem::is_directory(argv[i])) {
      std::copy(std::filesystem::directory_iterator(argv[i]), {}, std::back_inserter(files));
    }
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    std::printf("%s\n", file.filename().c_str());
    static_cast<void>(std::fflush(stdout));
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  return files.empty() ? 1 : 0;
}
