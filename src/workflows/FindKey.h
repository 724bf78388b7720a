#pragma once

#include "bridge/MCPBridgeClient.h"
#include "contract/Listening.h"
#include "platform/Json.h"

namespace brindlevane::BrindlevaneMCP {

/// Estimates the key of the clip selected in Live, from its audio or from its notes.
///
/// @return "key", "confidence", "analyzedSeconds", "kind", "track", "clip", "project", "revision"
/// @throws MCPServerError    invalidBridgeResponse: no clip that can be analysed; and those of
///     the request
/// @throws KeyAnalysisError  the audio or the profile gives no key
[[nodiscard]] Json findKey(const MCPBridgeClient& bridge, const Listener& listener);

}  // namespace brindlevane::BrindlevaneMCP
