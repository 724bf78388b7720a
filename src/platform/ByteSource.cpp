#include "platform/ByteSource.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace brindlevane {
namespace {

constexpr std::int64_t kMostPasses = 16;
constexpr std::int64_t kSpareBytes = std::int64_t{16} << 20U;

}  // namespace

ByteSource::ByteSource(int descriptor) : descriptor_(descriptor) {
  struct stat status = {};
  size_ = ::fstat(descriptor, &status) == 0 ? status.st_size : 0;
  constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max() / 2;
  budget_ = std::min(size_, kLargest / kMostPasses) * kMostPasses + kSpareBytes;
}

std::int64_t ByteSource::read(void* bytes, std::int64_t count) {
  if (budget_ <= 0 || count <= 0) {
    return 0;
  }
  const ssize_t got = ::pread(descriptor_, bytes, static_cast<std::size_t>(count), position_);
  if (got > 0) {
    position_ += got;
    budget_ -= got;
  }
  return got;
}

std::int64_t ByteSource::seek(std::int64_t offset, int whence) {
  const std::int64_t base = whence == SEEK_CUR ? position_ : whence == SEEK_END ? size_ : 0;
  if (offset < -base || offset > std::numeric_limits<std::int64_t>::max() - base) {
    return -1;
  }
  position_ = base + offset;
  return position_;
}

}  // namespace brindlevane
