#include "server/contract/MCPServerError.h"

namespace brindlevane {

MCPServerError MCPServerError::bridgeIncompatible(const std::string& message) {
  return MCPServerError(message);
}

MCPServerError MCPServerError::bridgeRejected(const std::string& code, const std::string& message) {
  return MCPServerError("BrindlevaneBridge error " + code + ": " + message);
}

MCPServerError MCPServerError::invalidArguments(const std::string& message) {
  return MCPServerError(message);
}

MCPServerError MCPServerError::configurationMissing() {
  return MCPServerError(
      "BrindlevaneBridge is not installed. Open Brindlevane and install the Ableton bridge first.");
}

MCPServerError MCPServerError::configurationInvalid() {
  return MCPServerError(
      "The local BrindlevaneBridge configuration is invalid. Reinstall the bridge from "
      "Brindlevane.");
}

MCPServerError MCPServerError::bridgeUnreachable() {
  return MCPServerError(
      "Ableton Live is not connected to BrindlevaneBridge. Open Ableton and wait a few seconds.");
}

MCPServerError MCPServerError::invalidBridgeResponse() {
  return MCPServerError("BrindlevaneBridge returned an invalid response.");
}

}  // namespace brindlevane
