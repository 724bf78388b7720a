#pragma once

#include "platform/RegularFile.h"

#include <cstdint>
#include <limits>

namespace brindlevane {

/// What of a file a decoder library gets to see: the bytes [0, head), and right behind them those
/// from `begin` to `end`, or to the end of the file where that comes first.
struct ByteSection {
  std::int64_t head = 0;
  std::int64_t begin = 0;  ///< head or more
  std::int64_t end = std::numeric_limits<std::int64_t>::max();
};

/// The bytes of an open regular file, as decoder libraries ask for them through callbacks.
///
/// Damaged files can send a library back and forth without end, or through gigabytes of nothing in
/// search of sound: one step, be it to open the file or to find the next sound, gets no more bytes
/// than it can take.
class ByteSource {
 public:
  explicit ByteSource(const RegularFile& file, const ByteSection& section = {});

  [[nodiscard]] std::int64_t size() const { return size_; }
  [[nodiscard]] std::int64_t position() const { return position_; }

  /// More than the header of any file takes, and the sound between two calls of a library.
  static constexpr std::int64_t kMostInStep = std::int64_t{128} << 20U;

  /// Begins the next step; a source begins with one.
  ///
  /// @param mostBytes  what it can take
  void beginStep(std::int64_t mostBytes = kMostInStep) { left_ = mostBytes; }

  /// Where in the file position() is.
  [[nodiscard]] std::int64_t fileOffset() const;

  /// Whether a read has come to the end since the source was made.
  [[nodiscard]] bool hasReachedEnd() const { return hasReachedEnd_; }

  /// @return the bytes read, 0 at the end, negative for a fault of the file system
  [[nodiscard]] std::int64_t read(void* bytes, std::int64_t count);

  /// @param whence  SEEK_SET, SEEK_CUR or SEEK_END
  /// @return the new position, or -1 where there is none
  [[nodiscard]] std::int64_t seek(std::int64_t offset, int whence);

 private:
  const RegularFile* file_;
  ByteSection section_;
  std::int64_t size_;
  std::int64_t position_ = 0;
  std::int64_t left_ = kMostInStep;
  bool hasReachedEnd_ = false;
};

}  // namespace brindlevane
