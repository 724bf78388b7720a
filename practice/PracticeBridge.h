#pragma once

#include "Listener.h"
#include "LiveSet.h"

#include <filesystem>
#include <string>

namespace brindlevane {

/// The bridge as the server sees it, on a Live set in memory.
///
/// Every route answers {"ok": true, "result": ...}, its result with the set's "revision", or
/// {"ok": false, "error": {"code", "message"}} with a status of 400 or more. Not thread-safe.
class PracticeBridge {
 public:
  /// @param set    what the routes work on
  /// @param token  that requests must bring
  PracticeBridge(LiveSet set, std::string token) : set_(std::move(set)), token_(std::move(token)) {}

  /// Answers one request. Never throws; a refused request leaves the set as it was.
  [[nodiscard]] HttpAnswer answer(const HttpRequest& request);

  [[nodiscard]] const LiveSet& set() const { return set_; }

 private:
  LiveSet set_;
  std::string token_;
};

}  // namespace brindlevane
