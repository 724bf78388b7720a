#pragma once

#include "practice/PracticeBridge.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace brindlevane::practice {

/// A practice bridge that serves, with sound in a private folder and a token of its own. A server
/// finds it by the file `Brindlevane/bridge.json`, which goes when this object goes.
class RunningBridge {
 public:
  /// Plays the set "Night Ferry" or, where there are any, the user's own audio files.
  ///
  /// @param supportFolder  application-support folder for the file, which this user alone can read
  /// @throws std::runtime_error  there is such a file already, or the folder cannot be written
  explicit RunningBridge(const std::filesystem::path& supportFolder,
                         const std::vector<std::string>& files = {});
  ~RunningBridge();
  RunningBridge(const RunningBridge&) = delete;
  RunningBridge& operator=(const RunningBridge&) = delete;

  [[nodiscard]] std::uint16_t port() const { return server_.port(); }
  [[nodiscard]] const std::filesystem::path& file() const { return file_; }

 private:
  TemporaryFolder audioFolder_;
  std::string token_;
  PracticeBridge bridge_;
  LoopbackServer server_;
  std::filesystem::path file_;
  std::string content_;
};

}  // namespace brindlevane::practice
