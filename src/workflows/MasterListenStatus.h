#pragma once

#include "bridge/MCPBridgeClient.h"
#include "contract/Listening.h"
#include "contract/ToolResult.h"
#include "platform/Json.h"

namespace brindlevane::BrindlevaneMCP {

/// Asks how a capture of Live's master output is getting on. While it runs, the bridge's progress
/// is handed on; a finished recording is measured and then cleaned up; a failed capture is cleaned
/// up and handed on as an error.
///
/// @param arguments  "jobId": the capture's id
/// @throws MCPServerError         invalidBridgeResponse: no usable status; and those of the
///     request
/// @throws AudioMeasurementError  the recording gives no measurement; it is left in place
[[nodiscard]] ToolResult masterListenStatus(const MCPBridgeClient& bridge, const Json& arguments,
                                            const Listener& listener);

}  // namespace brindlevane::BrindlevaneMCP
