#pragma once

#include "bridge/BridgeAccess.h"
#include "bridge/BridgeConfiguration.h"
#include "platform/Json.h"

#include <optional>
#include <string>
#include <string_view>

namespace brindlevane {

/// The client of the bridge inside Live. One lives for one tool call, so that a bridge installed
/// anew is found without a restart.
class MCPBridgeClient {
 public:
  /// @throws MCPServerError  configurationMissing: no file that can be read;
  ///     configurationInvalid: its contents break a rule
  explicit MCPBridgeClient(const BridgeAccess& access = installedBridge());

  /// Sends one JSON request to the bridge and waits for its answer. Nothing is sent twice.
  ///
  /// @param path     absolute route, for example "/v1/health"
  /// @param method   HTTP method
  /// @param payload  JSON object to send; without one the request has no body
  /// @param timeout  longest silence of the bridge; the call ends within timeout + 1 s
  /// @return the "result" of the answer: any JSON value, null included
  /// @throws MCPServerError  configurationInvalid: the path is none;
  ///     bridgeUnreachable: no connection, or no answer in time; invalidBridgeResponse: not the
  ///     agreed envelope; bridgeRejected: refused, with the bridge's own code and message
  [[nodiscard]] Json request(std::string_view path, std::string_view method,
                             const std::optional<Json>& payload, Seconds timeout) const;

  const LoopbackURL baseURL;  ///< as the configuration file has it
  const std::string token;    ///< goes with every request

 private:
  MCPBridgeClient(BridgeConfiguration configuration, HttpExchange exchange);

  HttpExchange exchange_;
};

}  // namespace brindlevane
