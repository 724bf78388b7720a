#pragma once

#include "bridge/MCPBridgeClient.h"
#include "contract/Listening.h"
#include "platform/Json.h"

/// The two tools that listen to the clip selected in Live.
namespace brindlevane::BrindlevaneMCP {

/// Estimates the key of the clip, from its audio or from its notes.
///
/// @return "key", "confidence", "analyzedSeconds", "kind", "track", "clip", "project", "revision"
/// @throws MCPServerError    invalidBridgeResponse: no clip that can be analysed; and those of
///     the request
/// @throws KeyAnalysisError  the audio or the profile gives no key
[[nodiscard]] Json findKey(const MCPBridgeClient& bridge, const Listener& listener);

/// Measures the source file of the audio clip, before any device.
///
/// @return the measurement's entries with "track", "clip", "project" and "revision"
/// @throws MCPServerError         invalidArguments: no audio clip is selected; and those of the
///     request
/// @throws AudioMeasurementError  the file gives no measurement
[[nodiscard]] Json listenSelectedClip(const MCPBridgeClient& bridge, const Listener& listener);

}  // namespace brindlevane::BrindlevaneMCP
