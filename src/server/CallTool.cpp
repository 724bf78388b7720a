#include "server/CallTool.h"

#include "audio/AudioMeasurementError.h"
#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "bridge/MCPBridgeClient.h"
#include "bridge/RouteTable.h"
#include "key/KeyAnalysisError.h"
#include "server/contract/MCPServerError.h"
#include "tools/ArgumentRules.h"
#include "workflows/FindKey.h"
#include "workflows/ListenSelectedClip.h"
#include "workflows/MasterListenStatus.h"

#include <exception>
#include <functional>
#include <map>
#include <string_view>

namespace brindlevane {
namespace {

/// What a tool does when its work is more than one request.
using Workflow = std::function<ToolResult(const MCPBridgeClient& bridge, const Json& arguments)>;

const Workflow* workflowOf(const std::string& tool) {
  static const std::map<std::string_view, Workflow> kWorkflows = {
      {"brindlevane_find_key",
       [](const MCPBridgeClient& bridge, const Json&) {
         return toolResult(findKey(bridge), /*isError=*/false);
       }},
      {"brindlevane_listen_selected_clip",
       [](const MCPBridgeClient& bridge, const Json&) {
         return toolResult(listenSelectedClip(bridge), /*isError=*/false);
       }},
      {"brindlevane_get_master_listen", masterListenStatus}};
  const auto found = kWorkflows.find(tool);
  return found == kWorkflows.end() ? nullptr : &found->second;
}

ToolResult carryOut(const std::string& name, const Json& arguments, const BridgeAccess& access) {
  BrindlevaneMCP::validateArguments(name, arguments);
  const MCPBridgeClient bridge(access);
  BrindlevaneBridgeCompatibility::requireCompatibleBridge(bridge);
  if (const Workflow* workflow = workflowOf(name)) {
    return (*workflow)(bridge, arguments);
  }
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
  } catch (const AudioMeasurementError& error) {
    return errorResult("AudioMeasurementError", error.what());
  } catch (const KeyAnalysisError& error) {
    return errorResult("KeyAnalysisError", error.what());
  } catch (const std::exception& error) {
    return errorResult("std::exception", error.what());
  }
}

}  // namespace brindlevane
