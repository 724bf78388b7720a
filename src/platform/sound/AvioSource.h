#pragma once

#include "platform/sound/ByteSource.h"

#include <cstdint>
#include <string_view>

extern "C" {
#include <libavformat/avio.h>
}

namespace brindlevane {

/// A regular file as FFmpeg's source of bytes.
class AvioSource {
 public:
  explicit AvioSource(const RegularFile& file);
  AvioSource(const AvioSource&) = delete;
  AvioSource& operator=(const AvioSource&) = delete;
  ~AvioSource();

  /// Null when memory was short.
  [[nodiscard]] AVIOContext* context() const { return context_; }

  /// Tells that FFmpeg is about to find the next packet; see ByteSource.
  void beginStep() { bytes_.beginStep(); }

  /// Whether the file has these bytes at a place; nothing that is being read is moved.
  [[nodiscard]] bool holds(std::int64_t offset, std::string_view bytes);

 private:
  static int read(void* opaque, std::uint8_t* buffer, int count);
  static std::int64_t seek(void* opaque, std::int64_t offset, int whence);

  ByteSource bytes_;
  AVIOContext* context_ = nullptr;
};

}  // namespace brindlevane
