#pragma once

#include "bridge/BridgeAccess.h"
#include "contract/ToolResult.h"
#include "listening/InstalledListener.h"
#include "platform/Json.h"

#include <string>

namespace brindlevane {

/// Carries out one tool call: checks the arguments, makes sure of the bridge and does the tool's
/// work. Every failure, of whatever kind, is an error result.
///
/// @param arguments  an object
/// @throws std::bad_alloc  not even the error result has room
[[nodiscard]] ToolResult callTool(const std::string& name, const Json& arguments,
                                  const BridgeAccess& access = installedBridge(),
                                  const Listener& listener = installedListener());

}  // namespace brindlevane
