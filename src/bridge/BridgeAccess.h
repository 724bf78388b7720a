#pragma once

#include "platform/HttpTransport.h"

#include <functional>
#include <optional>
#include <string>

namespace brindlevane {

/// Everything through which the server reaches the bridge, so that a test can play both ends.
struct BridgeAccess {
  /// The text of the configuration file; nothing when there is none that can be read.
  std::function<std::optional<std::string>()> readConfiguration;
  HttpExchange exchange;
};

/// The current user's configuration file, Brindlevane/bridge.json in the application-support
/// folder, and real HTTP.
[[nodiscard]] BridgeAccess installedBridge();

}  // namespace brindlevane
