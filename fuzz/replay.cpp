#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// NOLINTNEXTLINE(readability-identifier-naming): the name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Runs a fuzz target over the files named, and over those in the folders named.
int main(int argumentCount, char** arguments) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argumentCount; ++i) {
    if (std::filesystem::is_directory(arguments[i])) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i])) {
        if (entry.is_regular_file()) {
          files.push_back(entry.path());
        }
      }
    } else {
      files.emplace_back(arguments[i]);
    }
  }
  for (const auto& file : files) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(stream), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
