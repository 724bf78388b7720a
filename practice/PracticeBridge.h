#pragma once

#include "practice/LiveSet.h"
#include "support/LoopbackServer.h"

#include <string>
#include <utility>

namespace brindlevane::practice {

/// The bridge as the server sees it, on a Live set in memory.
///
/// Every route answers {"ok": true, "result": ...}, its result with the set's "revision", or
/// {"ok": false, "error": {"code", "message"}} with a status of 400 or more. A change of the set
/// is a new revision. Not thread-safe.
class PracticeBridge {
 public:
  struct Answer {
    int status;
    std::string body;
  };

  /// @param set    what the routes work on
  /// @param token  that requests must bring
  PracticeBridge(LiveSet set, std::string token) : set_(std::move(set)), token_(std::move(token)) {}

  /// Answers one request. Never throws; a refused request leaves the set as it was.
  [[nodiscard]] Answer answer(const LoopbackServer::Request& request);

  [[nodiscard]] const LiveSet& set() const { return set_; }

 private:
  LiveSet set_;
  std::string token_;
};

}  // namespace brindlevane::practice
