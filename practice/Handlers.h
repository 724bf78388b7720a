#pragma once

#include "platform/Json.h"
#include "practice/LiveSet.h"

namespace brindlevane::practice {

// One function a route. Each takes the set and the body of the request, which the server has
// checked, and gives the "result" of the answer; one that cannot do as it is told throws a Refusal,
// and its caller restores the song. What can be undone says in "action" what was done.

/// Reading.
[[nodiscard]] Json health(LiveSet& set, const Json& body);
[[nodiscard]] Json session(LiveSet& set, const Json& body);
[[nodiscard]] Json context(LiveSet& set, const Json& body);
[[nodiscard]] Json projectAnalysis(LiveSet& set, const Json& body);
[[nodiscard]] Json mixPreparation(LiveSet& set, const Json& body);
[[nodiscard]] Json deviceParameters(LiveSet& set, const Json& body);
[[nodiscard]] Json keySource(LiveSet& set, const Json& body);

/// Transport, and one change at a time.
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

/// Names each track by its number and role and colours it and its clips by family; a track without
/// a role stays as it is.
[[nodiscard]] Json organizeTracks(LiveSet& set, const Json& body);

/// Appends a club arrangement of 128 bars: eight sections in blocks of eight bars, each with its
/// layers, every layer going round through the clips of its track.
[[nodiscard]] Json buildArrangement(LiveSet& set, const Json& body);

/// Ranks the sample catalogue by the words of "query", within "role" where given; the best
/// "limit" (12 without one) come back.
[[nodiscard]] Json searchSamples(LiveSet& set, const Json& body);

/// Puts one sample of the catalogue on a new audio track.
[[nodiscard]] Json importSample(LiveSet& set, const Json& body);

/// Recordings of the master, one at a time. Time goes 20 times as fast as in Live.
[[nodiscard]] Json startCapture(LiveSet& set, const Json& body);
[[nodiscard]] Json captureStatus(LiveSet& set, const Json& body);

/// Removes the temporary track and the recorded file, ready or not.
[[nodiscard]] Json endCapture(LiveSet& set, const Json& body);

/// A random number of `digits` lower-case hexadecimal digits.
[[nodiscard]] std::string randomHex(std::size_t digits);

}  // namespace brindlevane::practice
