#pragma once

#include <cstdint>

namespace brindlevane {

/// The bytes of an open regular file, as decoder libraries ask for them through callbacks.
///
/// The descriptor stays the caller's, and its own position is not moved. Damaged files can send a
/// library back and forth without end; after several times the size of the file nothing more
/// comes.
class ByteSource {
 public:
  explicit ByteSource(int descriptor);

  [[nodiscard]] std::int64_t size() const { return size_; }
  [[nodiscard]] std::int64_t position() const { return position_; }

  /// @return the bytes read, 0 at the end, negative for a fault of the file system
  [[nodiscard]] std::int64_t read(void* bytes, std::int64_t count);

  /// @param whence  SEEK_SET, SEEK_CUR or SEEK_END
  /// @return the new position, or -1 where there is none
  [[nodiscard]] std::int64_t seek(std::int64_t offset, int whence);

 private:
  int descriptor_;
  std::int64_t size_ = 0;
  std::int64_t position_ = 0;
  std::int64_t budget_ = 0;
};

}  // namespace brindlevane
