#pragma once

#include "LiveSet.h"
#include "platform/Json.h"

namespace brindlevane {

/// Names each track by its number and role and colours it and its clips by family.
[[nodiscard]] Json organizeTracks(LiveSet& set, const Json& body);

/// Appends a club arrangement of 128 bars behind what is there: eight sections in blocks of
/// eight bars, each with its layers, every layer going round through the clips of its track.
/// @throws Refusal  no track holds a clip to build from
[[nodiscard]] Json buildArrangement(LiveSet& set, const Json& body);

/// Ranks the sample catalogue by the words of "query", within "role" where given; the best
/// "limit" (12 without one) come back.
/// @throws Refusal  a member of the body is of the wrong kind
[[nodiscard]] Json searchSamples(LiveSet& set, const Json& body);

/// Puts one sample of the catalogue on a new audio track.
/// @throws Refusal  UNKNOWN_SAMPLE and others
[[nodiscard]] Json importSample(LiveSet& set, const Json& body);

}  // namespace brindlevane
