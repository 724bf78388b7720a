#include "platform/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace brindlevane {

std::optional<RegularFile> RegularFile::open(const std::string& path) {
  if (path.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  // O_NONBLOCK: a pipe without a writer must not hold the caller. Regular files ignore it.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) {
    return std::nullopt;
  }
  RegularFile file(descriptor);
  struct stat status = {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return file;
}

RegularFile::RegularFile(RegularFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

RegularFile& RegularFile::operator=(RegularFile&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

RegularFile::~RegularFile() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
}

}  // namespace brindlevane
