#include "platform/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

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
  struct stat status = {};
  const bool isKnown = ::fstat(descriptor, &status) == 0;
  RegularFile file(descriptor, status.st_size);
  if (!isKnown || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return file;
}

RegularFile::~RegularFile() {
  if (handle_ >= 0) {
    ::close(static_cast<int>(handle_));
  }
}

std::int64_t RegularFile::read(void* bytes, std::int64_t count, std::int64_t offset) const {
  std::int64_t done = 0;
  while (done < count && !hasFailed_) {
    const ssize_t got = ::pread(static_cast<int>(handle_), static_cast<char*>(bytes) + done,
                                static_cast<std::size_t>(count - done), offset + done);
    if (got == 0) {
      break;
    }
    hasFailed_ = got < 0 && errno != EINTR && errno != EAGAIN;
    done += std::max<ssize_t>(got, 0);
  }
  return hasFailed_ ? -1 : done;
}

}  // namespace brindlevane
