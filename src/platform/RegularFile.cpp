#include "platform/RegularFile.h"

#include <algorithm>
#include <iterator>

namespace brindlevane {

std::optional<std::string> readRegularFile(const std::string& path, std::size_t longest) {
  const std::optional<RegularFile> file = RegularFile::open(path);
  if (!file) {
    return std::nullopt;
  }
  std::string bytes(std::min(longest, static_cast<std::size_t>(file->size())), '\0');
  const std::int64_t count = file->read(bytes.data(), std::ssize(bytes), 0);
  if (count < 0) {
    return std::nullopt;
  }
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

}  // namespace brindlevane
