// Runs a fuzz target over kept inputs: the files named on the command line, and those in the
// directories named there.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <vector>

// NOLINTNEXTLINE(readability-identifier-naming): the name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  static_cast<void>(
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

}  // namespace

int main(int argumentCount, char** arguments) {
  std::size_t count = 0;
  for (const char* const argument :
       std::span(arguments, static_cast<std::size_t>(argumentCount)).subspan(1)) {
    if (!std::filesystem::is_directory(argument)) {
      replay(argument);
      ++count;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argument)) {
      replay(entry.path());
      ++count;
    }
  }
  std::cout << count << " inputs replayed\n";
  return count > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
