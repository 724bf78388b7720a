#pragma once

#include "platform/Json.h"
#include "practice/Renderer.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane::practice {

/// One recording of the master, from its start until it is cleaned up.
struct MasterCapture {
  std::string jobId;
  double startBeat;
  int bars;
  double tempo;
  std::chrono::steady_clock::time_point start;
  std::string filePath;  ///< empty until ready
};

/// A Live set in memory: what the routes of the practice bridge read and change.
struct LiveSet {
  AudioPool audio;
  Json song;  ///< everything that undo restores; members as nightFerry() gives them
  std::int64_t revision = 17;                           ///< counts the changes of the set
  std::vector<std::pair<std::string, Json>> history{};  ///< what was done, and the song before it
  std::optional<MasterCapture> capture{};
  std::optional<std::chrono::steady_clock::time_point> playingSince{};
};

/// Where the transport is, in beats: it starts at the beginning and goes round within the
/// Arrangement.
[[nodiscard]] double positionOf(const LiveSet& set);

/// The end of the last Arrangement clip, in beats.
[[nodiscard]] double arrangementEnd(const Json& song);

/// The element of an array that a body's member names.
/// @throws Refusal  INVALID_INDEX
[[nodiscard]] Json& elementIn(Json& elements, const Json& body, const char* key);

/// The track that "trackIndex" of a body names.
/// @throws Refusal  INVALID_INDEX
[[nodiscard]] Json& trackIn(LiveSet& set, const Json& body);

/// The selected clip, or nullptr.
[[nodiscard]] const Json* selectedClip(const LiveSet& set);

/// A number as people write it: 128, -6.5; a string in quotation marks.
[[nodiscard]] std::string shown(const Json& value);

}  // namespace brindlevane::practice
