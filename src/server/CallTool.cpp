#include "server/CallTool.h"

#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "bridge/MCPBridgeClient.h"
#include "bridge/RouteTable.h"
#include "server/contract/MCPServerError.h"
#include "tools/ArgumentRules.h"

#include <exception>

namespace brindlevane {
namespace {

ToolResult carryOut(const std::string& name, const Json& arguments, const BridgeAccess& access) {
  BrindlevaneMCP::validateArguments(name, arguments);
  const MCPBridgeClient bridge(access);
  BrindlevaneBridgeCompatibility::requireCompatibleBridge(bridge);
  const Route* route = routeOf(name);
  if (route == nullptr) {
    throw MCPServerError::invalidArguments("Unknown Brindlevane tool: " + name);
  }
  return toolResult(
      bridge.request(route->path, route->method, route->payload(arguments), route->timeout),
      /*isError=*/false);
}

}  // namespace

ToolResult callTool(const std::string& name, const Json& arguments, const BridgeAccess& access) {
  try {
    return carryOut(name, arguments, access);
  } catch (const MCPServerError& error) {
    return errorResult("MCPServerError", error.what());
  } catch (const std::exception& error) {
    return errorResult("std::exception", error.what());
  }
}

}  // namespace brindlevane
