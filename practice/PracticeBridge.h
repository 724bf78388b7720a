#pragma once

#include "practice/LiveSet.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane::practice {

/// The bridge as the server sees it, on a Live set in memory.
///
/// Every route answers {"ok": true, "result": ...}, its result with the set's "revision", or
/// {"ok": false, "error": {"code", "message"}} with a status of 400 or more. Not thread-safe.
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

/// A practice bridge that serves, with sound in a private folder and a token of its own.
class RunningBridge {
 public:
  /// Plays the set "Night Ferry" or, where there are any, the user's own audio files.
  explicit RunningBridge(const std::vector<std::string>& files = {});

  [[nodiscard]] std::uint16_t port() const { return server_.port(); }
  [[nodiscard]] const std::string& token() const { return token_; }

 private:
  TemporaryFolder audioFolder_;
  std::string token_;
  PracticeBridge bridge_;
  LoopbackServer server_;
};

}  // namespace brindlevane::practice
