#pragma once

#include "platform/Url.h"

#include <string>
#include <string_view>

namespace brindlevane {

/// Where the bridge listens, and what proves that a request may come from here.
struct BridgeConfiguration {
  Url baseURL;        ///< http, 127.0.0.1 or ::1, a port from 1024 to 65535, nothing but a path
  std::string token;  ///< 32 characters to 60,000 bytes that an HTTP header carries unchanged
};

/// Whether the host, as written in a URL, is one of the two that the token may be sent to.
[[nodiscard]] bool isLoopback(std::string_view host);

/// Reads the text of the configuration file: a JSON object with "bridgeUrl" and "authToken".
///
/// @throws MCPServerError  configurationInvalid: the text breaks a rule
[[nodiscard]] BridgeConfiguration readConfiguration(std::string_view text);

}  // namespace brindlevane
