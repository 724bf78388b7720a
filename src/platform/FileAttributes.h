#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace brindlevane {

/// What the file system tells about a file without opening it.
struct FileAttributes {
  std::uint64_t size = 0;        ///< bytes
  double modifiedSince1970 = 0;  ///< seconds, with the fraction the file system keeps
};

/// @return nothing when the path names no file that may be looked at
[[nodiscard]] std::optional<FileAttributes> fileAttributes(const std::string& path);

/// Makes a path absolute and takes out empty, "." and ".." components, without asking the file
/// system what they mean. On Windows it also turns slashes into backslashes.
[[nodiscard]] std::string standardizedPath(const std::string& path);

}  // namespace brindlevane
