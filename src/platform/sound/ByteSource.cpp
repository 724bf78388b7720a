#include "platform/sound/ByteSource.h"

#include <algorithm>
#include <cstdio>

namespace brindlevane {

ByteSource::ByteSource(const RegularFile& file, const ByteSection& section)
    : file_(&file), section_(section) {
  section_.end = std::min(section_.end, file.size());
  size_ = section_.head + std::max<std::int64_t>(section_.end - section_.begin, 0);
}

std::int64_t ByteSource::fileOffset() const {
  return position_ < section_.head ? position_ : position_ - section_.head + section_.begin;
}

std::int64_t ByteSource::read(void* bytes, std::int64_t count) {
  std::int64_t done = 0;
  while (done < count && left_ > 0 && position_ < size_) {
    const std::int64_t border = position_ < section_.head ? section_.head : size_;
    const std::int64_t wanted = std::min(count - done, border - position_);
    const std::int64_t got = file_->read(static_cast<char*>(bytes) + done, wanted, fileOffset());
    if (got <= 0) {
      return got < 0 ? got : done;
    }
    done += got;
    position_ += got;
    left_ -= got;
    hasReachedEnd_ = hasReachedEnd_ || position_ == size_;
  }
  return done;
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
