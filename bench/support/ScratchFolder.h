#pragma once

#include <filesystem>

namespace brindlevane {

/// A new folder for a benchmark's files; it goes with its content when this object goes.
class ScratchFolder {
 public:
  /// @throws std::system_error  it cannot be made
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace brindlevane
