#include "platform/FileAttributes.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace brindlevane {

std::optional<FileAttributes> fileAttributes(const std::string& path) {
  struct stat status = {};
  if (path.find('\0') != std::string::npos || ::stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
#ifdef __APPLE__
  const timespec& modified = status.st_mtimespec;
#else
  const timespec& modified = status.st_mtim;
#endif
  return FileAttributes{
      static_cast<std::uint64_t>(status.st_size),
      static_cast<double>(modified.tv_sec) + static_cast<double>(modified.tv_nsec) * 1e-9};
}

std::string standardizedPath(const std::string& path) {
  std::error_code ignored;  // without a current folder a relative path stays one
  std::filesystem::path absolute = std::filesystem::current_path(ignored) / path;
  absolute = absolute.lexically_normal();
  if (!absolute.has_filename() && absolute.has_relative_path()) {
    absolute = absolute.parent_path();
  }
  return absolute.string();
}

}  // namespace brindlevane
