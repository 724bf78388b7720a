#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindlevane {

/// An address of plain HTTP on this machine.
struct LoopbackURL {
  std::string text;        ///< as written
  std::string host;        ///< "127.0.0.1" or "::1"
  std::uint16_t port = 0;  ///< 1024 or more
};

/// Where the bridge listens, and what proves that a request may come from here.
struct BridgeConfiguration {
  LoopbackURL baseURL;
  std::string token;  ///< 32 characters to 60,000 bytes that an HTTP header carries unchanged
};

/// Whether the text is the absolute path of a URL.
///
/// @see RFC 3986, section 3.3
[[nodiscard]] bool isPath(std::string_view text);

/// Reads the text of the configuration file: a JSON object with "bridgeUrl" and "authToken".
///
/// @param text  nothing where there is no file
/// @throws MCPServerError  configurationMissing: there is no text; configurationInvalid: the text
///     breaks a rule
[[nodiscard]] BridgeConfiguration readConfiguration(const std::optional<std::string>& text);

}  // namespace brindlevane
