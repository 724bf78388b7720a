#pragma once

#include "LiveSet.h"
#include "platform/Json.h"

namespace brindlevane {

/// Recordings of the master, one at a time. A recording takes no real time: each status request
/// renders a further part of it, and the last part writes the file.
/// @throws Refusal  TRANSPORT_RUNNING, CAPTURE_RUNNING, UNKNOWN_JOB and others
[[nodiscard]] Json startCapture(LiveSet& set, const Json& body);
[[nodiscard]] Json captureStatus(LiveSet& set, const Json& body);
/// Removes the temporary track and the recorded file, ready or not.
[[nodiscard]] Json endCapture(LiveSet& set, const Json& body);

}  // namespace brindlevane
