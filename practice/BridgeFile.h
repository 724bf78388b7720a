#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace brindlevane::practice {

/// The file `Brindlevane/bridge.json` in an application-support folder, by which a server finds
/// the practice bridge; removed when this object goes.
class BridgeFile {
 public:
  /// Writes the file, readable by this user alone.
  /// @throws std::runtime_error  there is such a file already, or the folder cannot be written
  BridgeFile(const std::filesystem::path& supportFolder, std::uint16_t port,
             const std::string& token);
  ~BridgeFile();
  BridgeFile(const BridgeFile&) = delete;
  BridgeFile& operator=(const BridgeFile&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  std::string content_;
};

}  // namespace brindlevane::practice
