#pragma once

#include "platform/Json.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace brindlevane::practice {

/// A new folder that only this user can read; it goes with its content when this object goes.
class PrivateFolder {
 public:
  /// @throws std::system_error  it cannot be made
  PrivateFolder();
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// The file `Brindlevane/bridge.json` in an application-support folder, by which a server finds
/// the practice bridge; removed with the folders made for it when this object goes.
class BridgeFile {
 public:
  /// Writes the file, readable by this user alone.
  /// @throws std::runtime_error  there is a file already which no practice bridge left behind, or
  ///     the folder cannot be written
  BridgeFile(const std::filesystem::path& supportFolder, std::uint16_t port,
             const std::string& token);
  ~BridgeFile();
  BridgeFile(const BridgeFile&) = delete;
  BridgeFile& operator=(const BridgeFile&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  Json content_;
  std::vector<std::filesystem::path> madeFolders_;  // innermost first
};

}  // namespace brindlevane::practice
