#pragma once

#include "platform/Json.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane::practice {

/// A request that the practice bridge turns down; what() is the message of its answer.
class Refusal : public std::runtime_error {
 public:
  /// @param httpStatus   400 or more
  /// @param machineCode  upper-case words joined by underscores
  Refusal(int httpStatus, std::string machineCode, const std::string& message)
      : std::runtime_error(message), status(httpStatus), code(std::move(machineCode)) {}

  const int status;
  const std::string code;
};

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
  std::filesystem::path audioFolder;  ///< private; for what is rendered
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

/// A random number of `digits` lower-case hexadecimal digits.
[[nodiscard]] std::string randomHex(std::size_t digits);

/// A number as people write it: 128, -6.5; a string in quotation marks.
[[nodiscard]] std::string shown(const Json& value);

}  // namespace brindlevane::practice
