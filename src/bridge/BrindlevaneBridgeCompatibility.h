#pragma once

#include "bridge/MCPBridgeClient.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

/// What the running bridge must offer before any tool does its work.
namespace brindlevane::BrindlevaneBridgeCompatibility {

inline constexpr std::string_view minimumVersion = "0.17.10";

/// The 18 capabilities that the tools rely on.
[[nodiscard]] const std::set<std::string>& requiredCapabilities();

/// Whether the version is at least minimumVersion, runs of digits being compared by their value,
/// and every required capability is there.
[[nodiscard]] bool supports(std::string_view version, const std::vector<std::string>& capabilities);

/// Asks the bridge for its health and goes on only when the tools can rely on it.
///
/// @throws MCPServerError  bridgeIncompatible: too old, or a capability is missing;
///     invalidBridgeResponse: no usable health answer; and those of the request
void requireCompatibleBridge(const MCPBridgeClient& bridge);

}  // namespace brindlevane::BrindlevaneBridgeCompatibility
