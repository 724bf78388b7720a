#include "contract/MCPServerError.h"

#include <utility>

namespace brindlevane {

MCPServerError::MCPServerError(Case kindOfFailure, std::string description, std::string reason,
                               std::string reasonCode)
    : kind(kindOfFailure),
      errorDescription(std::move(description)),
      message(std::move(reason)),
      code(std::move(reasonCode)) {}

MCPServerError MCPServerError::bridgeIncompatible(const std::string& message) {
  return {Case::bridgeIncompatible, message, message};
}

MCPServerError MCPServerError::bridgeRejected(const std::string& code, const std::string& message) {
  return {Case::bridgeRejected, "BrindlevaneBridge error " + code + ": " + message, message, code};
}

MCPServerError MCPServerError::invalidArguments(const std::string& message) {
  return {Case::invalidArguments, message, message};
}

MCPServerError MCPServerError::configurationMissing() {
  return {
      Case::configurationMissing,
      "BrindlevaneBridge is not installed. Open Brindlevane and install the Ableton bridge first."};
}

MCPServerError MCPServerError::configurationInvalid() {
  return {Case::configurationInvalid,
          "The local BrindlevaneBridge configuration is invalid. Reinstall the bridge from "
          "Brindlevane."};
}

MCPServerError MCPServerError::bridgeUnreachable() {
  return {
      Case::bridgeUnreachable,
      "Ableton Live is not connected to BrindlevaneBridge. Open Ableton and wait a few seconds."};
}

MCPServerError MCPServerError::invalidBridgeResponse() {
  return {Case::invalidBridgeResponse, "BrindlevaneBridge returned an invalid response."};
}

}  // namespace brindlevane
