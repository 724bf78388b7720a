#pragma once

#include <stdexcept>
#include <string>

namespace brindlevane {

/// A failure of the tool or bridge layer. what() is the text that the assistant and its user see.
class MCPServerError : public std::runtime_error {
 public:
  /// The running bridge is too old for the tools; the message is the whole text.
  [[nodiscard]] static MCPServerError bridgeIncompatible(const std::string& message);
  /// The bridge refused a request, in its own words.
  [[nodiscard]] static MCPServerError bridgeRejected(const std::string& code,
                                                     const std::string& message);
  /// The assistant must call again in another way; the message is the whole text.
  [[nodiscard]] static MCPServerError invalidArguments(const std::string& message);
  /// There is no readable configuration file.
  [[nodiscard]] static MCPServerError configurationMissing();
  /// The configuration file, or an address that it leads to, breaks a rule.
  [[nodiscard]] static MCPServerError configurationInvalid();
  /// No connection to the bridge, or no complete answer in time.
  [[nodiscard]] static MCPServerError bridgeUnreachable();
  /// The bridge answered something that was not agreed.
  [[nodiscard]] static MCPServerError invalidBridgeResponse();

 private:
  explicit MCPServerError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace brindlevane
