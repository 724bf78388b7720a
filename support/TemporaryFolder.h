#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

namespace brindlevane {

/// A new empty folder that only this user can read; it goes with its content when the object goes.
class TemporaryFolder {
 public:
  /// @throws std::system_error  it cannot be made
  TemporaryFolder()
      : path_(std::filesystem::temp_directory_path() /
              ("brindlevane-" + std::to_string(std::random_device()()))) {
    if (!std::filesystem::create_directory(path_)) {
      throw std::system_error(std::make_error_code(std::errc::file_exists), path_.string());
    }
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;  // a destructor has nobody to tell
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] std::string file(const std::string& name) const { return (path_ / name).string(); }

  /// Writes a file, and the folders above it.
  // NOLINTNEXTLINE(modernize-use-nodiscard): the path is of use to some, the file to all.
  std::filesystem::path write(const std::string& name, const std::string& bytes) const {
    std::filesystem::path file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace brindlevane
