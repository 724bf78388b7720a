#include "platform/Files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

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

class FileDescriptor {
 public:
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

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
  // Without O_NONBLOCK the opening of a FIFO waits for its writer.
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (file.number() < 0 || fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  std::string bytes;
  std::array<char, 4096> block{};
  while (bytes.size() < longest) {
    const ssize_t count =
        read(file.number(), block.data(), std::min(block.size(), longest - bytes.size()));
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return std::nullopt;
    }
    if (count == 0) {
      break;
    }
    bytes.append(block.data(), static_cast<std::size_t>(count));
  }
  return bytes;
}

}  // namespace brindlevane
