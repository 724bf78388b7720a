#include "platform/sound/AvioSource.h"

#include <cstdio>
#include <string>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace brindlevane {
namespace {

constexpr int kBufferBytes = 32768;

}  // namespace

AvioSource::AvioSource(const RegularFile& file) : bytes_(file) {
  auto* const buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
  context_ = avio_alloc_context(buffer, kBufferBytes, 0, &bytes_, &AvioSource::read, nullptr,
                                &AvioSource::seek);
  if (context_ == nullptr) {
    av_free(buffer);
  }
}

AvioSource::~AvioSource() {
  if (context_ != nullptr) {
    av_freep(&context_->buffer);
    avio_context_free(&context_);
  }
}

bool AvioSource::holds(std::int64_t offset, std::string_view bytes) {
  std::string found(bytes.size(), '\0');
  const std::int64_t before = bytes_.position();
  static_cast<void>(bytes_.seek(offset, SEEK_SET));
  const bool isRead = bytes_.read(found.data(), std::ssize(found)) == std::ssize(found);
  static_cast<void>(bytes_.seek(before, SEEK_SET));
  return isRead && found == bytes;
}

int AvioSource::read(void* opaque, std::uint8_t* buffer, int count) {
  const std::int64_t got = static_cast<ByteSource*>(opaque)->read(buffer, count);
  return got > 0 ? static_cast<int>(got) : got == 0 ? AVERROR_EOF : AVERROR(EIO);
}

std::int64_t AvioSource::seek(void* opaque, std::int64_t offset, int whence) {
  auto* const bytes = static_cast<ByteSource*>(opaque);
  const int from = whence & ~AVSEEK_FORCE;
  return from == AVSEEK_SIZE ? bytes->size() : bytes->seek(offset, from);
}

}  // namespace brindlevane
