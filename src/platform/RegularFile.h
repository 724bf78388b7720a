#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace brindlevane {

/// A regular file, open for reading until the object goes.
class RegularFile {
 public:
  /// Opens a file for reading, without ever waiting for one. Paths are UTF-8 on Windows.
  ///
  /// @return nothing when the file cannot be opened or is a directory, a device, a pipe or a
  ///     socket, and when the path holds a NUL byte
  [[nodiscard]] static std::optional<RegularFile> open(const std::string& path);

  RegularFile(RegularFile&& other) noexcept
      : handle_(std::exchange(other.handle_, -1)),
        size_(other.size_),
        hasFailed_(other.hasFailed_) {}
  RegularFile& operator=(RegularFile&& other) = delete;
  ~RegularFile();

  /// Bytes, when the file was opened.
  [[nodiscard]] std::int64_t size() const { return size_; }

  /// Reads at one place, for as long as there is more.
  ///
  /// @return the bytes read, fewer than `count` only at the end of the file; negative for a fault
  ///     of the file system, from the first one on
  [[nodiscard]] std::int64_t read(void* bytes, std::int64_t count, std::int64_t offset) const;

  /// Whether a read has failed. What was made of the file since then is not to be trusted, for not
  /// every reader tells a fault from an end.
  [[nodiscard]] bool hasFailed() const { return hasFailed_; }

 private:
  RegularFile(std::intptr_t handle, std::int64_t size) : handle_(handle), size_(size) {}

  std::intptr_t handle_;  // the system's; negative when it has passed to another object
  std::int64_t size_;
  mutable bool hasFailed_ = false;
};

/// The bytes of a regular file, cut after `longest` of them. Nothing when there is no such file,
/// it cannot be read or is no regular file; never waits, not even on a FIFO.
[[nodiscard]] std::optional<std::string> readRegularFile(const std::string& path,
                                                         std::size_t longest);

}  // namespace brindlevane
