#pragma once

#include "bridge/BridgeAccess.h"
#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "platform/Json.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane {

/// A bridge in memory: answers each route from a table and keeps the requests it was sent.
class ScriptedBridge {
 public:
  ScriptedBridge() {
    succeed("/v1/health",
            {{"bridgeVersion", BrindlevaneBridgeCompatibility::minimumVersion},
             {"capabilities", BrindlevaneBridgeCompatibility::requiredCapabilities()}});
  }

  void succeed(const std::string& path, const Json& result) {
    answers[path] = HttpAnswer{200, compactJson({{"ok", true}, {"result", result}})};
  }

  [[nodiscard]] BridgeAccess access() {
    return {[this] { return configuration; },
            [this](const HttpRequest& request, Seconds timeout) {
              requests.push_back(request);
              timeouts.push_back(timeout);
              const auto found = answers.find(request.target);
              return found == answers.end() ? HttpOutcome(HttpFailure::unreachable) : found->second;
            }};
  }

  std::optional<std::string> configuration =
      R"({"bridgeUrl":"http://127.0.0.1:8765/","authToken":"0123456789abcdef0123456789abcdef"})";
  std::map<std::string, HttpOutcome> answers;
  std::vector<HttpRequest> requests;
  std::vector<Seconds> timeouts;
};

}  // namespace brindlevane
