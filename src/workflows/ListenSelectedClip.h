#pragma once

#include "bridge/MCPBridgeClient.h"
#include "contract/Listening.h"
#include "platform/Json.h"

namespace brindlevane::BrindlevaneMCP {

/// Measures the source file of the audio clip selected in Live, before any device.
///
/// @return the measurement's entries with "track", "clip", "project" and "revision"
/// @throws MCPServerError         invalidArguments: no audio clip is selected; and those of the
///     request
/// @throws AudioMeasurementError  the file gives no measurement
[[nodiscard]] Json listenSelectedClip(const MCPBridgeClient& bridge, const Listener& listener);

}  // namespace brindlevane::BrindlevaneMCP
