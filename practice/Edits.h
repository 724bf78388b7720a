#pragma once

#include "LiveSet.h"
#include "platform/Json.h"

namespace brindlevane {

/// The routes that change the set. Each takes the set and the request's body, changes the set and
/// tells what it did; a caller that catches an exception restores the song.
/// @throws Refusal  the body names something that is not there, or asks for what cannot be
[[nodiscard]] Json play(LiveSet& set, const Json& body);
[[nodiscard]] Json stop(LiveSet& set, const Json& body);
[[nodiscard]] Json setTempo(LiveSet& set, const Json& body);
[[nodiscard]] Json createTrack(LiveSet& set, const Json& body);
[[nodiscard]] Json renameTrack(LiveSet& set, const Json& body);
[[nodiscard]] Json selectTrack(LiveSet& set, const Json& body);
[[nodiscard]] Json setTrackState(LiveSet& set, const Json& body);
[[nodiscard]] Json setTrackVolume(LiveSet& set, const Json& body);
[[nodiscard]] Json setSendLevel(LiveSet& set, const Json& body);
[[nodiscard]] Json setDeviceParameter(LiveSet& set, const Json& body);
[[nodiscard]] Json createMidiClip(LiveSet& set, const Json& body);
[[nodiscard]] Json replaceMidiClip(LiveSet& set, const Json& body);
[[nodiscard]] Json undo(LiveSet& set, const Json& body);

}  // namespace brindlevane
