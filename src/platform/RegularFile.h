#pragma once

#include <optional>
#include <string>

namespace brindlevane {

/// An open descriptor of a regular file, closed with the object.
class RegularFile {
 public:
  /// Opens a file for reading, without ever waiting for one.
  ///
  /// @return nothing when the file cannot be opened or is a directory, a device, a pipe or a
  ///     socket, and when the path holds a NUL byte
  [[nodiscard]] static std::optional<RegularFile> open(const std::string& path);

  RegularFile(RegularFile&& other) noexcept;
  RegularFile& operator=(RegularFile&& other) noexcept;
  ~RegularFile();

  [[nodiscard]] int descriptor() const { return descriptor_; }

 private:
  explicit RegularFile(int descriptor) : descriptor_(descriptor) {}

  int descriptor_;
};

}  // namespace brindlevane
