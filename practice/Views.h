#pragma once

#include "LiveSet.h"
#include "platform/Json.h"

namespace brindlevane {

/// The answers of the routes that only read. Each takes the set and the request's body.
/// @throws Refusal  the body names something that is not there
[[nodiscard]] Json health(LiveSet& set, const Json& body);
[[nodiscard]] Json session(LiveSet& set, const Json& body);
[[nodiscard]] Json context(LiveSet& set, const Json& body);
[[nodiscard]] Json projectAnalysis(LiveSet& set, const Json& body);
[[nodiscard]] Json mixPreparation(LiveSet& set, const Json& body);
[[nodiscard]] Json deviceParameters(LiveSet& set, const Json& body);
[[nodiscard]] Json keySource(LiveSet& set, const Json& body);

}  // namespace brindlevane
