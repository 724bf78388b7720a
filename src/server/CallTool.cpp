#include "server/CallTool.h"

#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "bridge/MCPBridgeClient.h"
#include "contract/AnalysisError.h"
#include "contract/MCPServerError.h"
#include "tools/Catalogue.h"
#include "workflows/MasterListenStatus.h"
#include "workflows/SelectedClip.h"

#include <exception>
#include <new>

namespace brindlevane {
namespace {

ToolResult carryOut(const std::string& name, const Json& arguments, const BridgeAccess& access,
                    const Listener& listener) {
  BrindlevaneMCP::validateArguments(name, arguments);
  const MCPBridgeClient bridge(access);
  BrindlevaneBridgeCompatibility::requireCompatibleBridge(bridge);
  const BrindlevaneMCP::Tool& tool = BrindlevaneMCP::toolNamed(name);
  if (tool.request) {
    return toolResult(bridge.request(tool.request->path, tool.request->method,
                                     BrindlevaneMCP::requestBody(tool, arguments),
                                     tool.request->timeout));
  }
  if (name == "brindlevane_find_key") {
    return toolResult(BrindlevaneMCP::findKey(bridge, listener));
  }
  if (name == "brindlevane_listen_selected_clip") {
    return toolResult(BrindlevaneMCP::listenSelectedClip(bridge, listener));
  }
  return BrindlevaneMCP::masterListenStatus(bridge, arguments, listener);
}

}  // namespace

ToolResult callTool(const std::string& name, const Json& arguments, const BridgeAccess& access,
                    const Listener& listener) {
  try {
    return carryOut(name, arguments, access, listener);
  } catch (const MCPServerError& error) {
    return errorResult("MCPServerError", error.errorDescription);
  } catch (const AudioMeasurementError& error) {
    return errorResult("AudioMeasurementError", error.errorDescription);
  } catch (const KeyAnalysisError& error) {
    return errorResult("KeyAnalysisError", error.errorDescription);
  } catch (const std::bad_alloc& error) {
    return errorResult("std::bad_alloc", error.what());
  } catch (const std::exception& error) {
    return errorResult("std::exception", error.what());
  }
}

}  // namespace brindlevane
