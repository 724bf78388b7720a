#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace brindlevane {

/// A bridge with ready-made answers, on a thread of its own, so that a benchmark's time is the
/// server's. Its configuration lies in a folder of its own, which goes when this object goes.
class CannedBridge {
 public:
  /// Listens from now on and answers "/v1/health".
  CannedBridge();
  ~CannedBridge();
  CannedBridge(const CannedBridge&) = delete;
  CannedBridge& operator=(const CannedBridge&) = delete;

  /// Sets what a route answers from now on.
  ///
  /// @param path    for example "/v1/context"
  /// @param result  the JSON text of the answer's "result"
  void answer(const std::string& path, const std::string& result);

  /// The application-support folder that holds the configuration.
  [[nodiscard]] const std::filesystem::path& supportFolder() const;

 private:
  struct Server;
  std::unique_ptr<Server> server_;
};

}  // namespace brindlevane
