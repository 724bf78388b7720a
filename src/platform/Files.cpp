#include "platform/Files.h"

#include "platform/RegularFile.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>

namespace brindlevane {
namespace {

std::optional<std::filesystem::path> absoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || !std::filesystem::path(value).is_absolute()) {
    return std::nullopt;
  }
  return value;
}

std::optional<std::filesystem::path> homeFolder() {
  if (auto home = absoluteFromEnvironment("HOME")) {
    return home;
  }
  std::array<char, 16384> strings{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, strings.data(), strings.size(), &found) != 0 ||
      found == nullptr || found->pw_dir == nullptr || *found->pw_dir == '\0') {
    return std::nullopt;
  }
  return found->pw_dir;
}

}  // namespace

std::optional<std::filesystem::path> applicationSupportFolder() {
#ifdef __APPLE__
  const auto home = homeFolder();
  return home ? std::optional(*home / "Library" / "Application Support") : std::nullopt;
#else
  if (auto dataHome = absoluteFromEnvironment("XDG_DATA_HOME")) {
    return dataHome;
  }
  const auto home = homeFolder();
  return home ? std::optional(*home / ".local" / "share") : std::nullopt;
#endif
}

std::optional<std::string> readRegularFile(const std::filesystem::path& path, std::size_t longest) {
  const std::optional<RegularFile> file = RegularFile::open(path.string());
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
