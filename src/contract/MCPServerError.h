#pragma once

#include <exception>
#include <string>

namespace brindlevane {

/// A failure of the tool or bridge layer.
class MCPServerError : public std::exception {
 public:
  enum class Case {
    bridgeIncompatible,
    bridgeRejected,
    invalidArguments,
    configurationMissing,
    configurationInvalid,
    bridgeUnreachable,
    invalidBridgeResponse
  };

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

  /// As errorDescription, but nothing after a NUL.
  [[nodiscard]] const char* what() const noexcept override { return errorDescription.c_str(); }

  const Case kind;
  const std::string errorDescription;  ///< what the assistant and its user see
  const std::string message;           ///< of the first three cases
  const std::string code;              ///< of bridgeRejected

 private:
  MCPServerError(Case kindOfFailure, std::string description, std::string reason = {},
                 std::string reasonCode = {});
};

}  // namespace brindlevane
