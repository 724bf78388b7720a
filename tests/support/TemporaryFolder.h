#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace brindlevane {

/// A new empty folder that goes with the object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "brindlevane-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }

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
