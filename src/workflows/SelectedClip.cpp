#include "workflows/SelectedClip.h"

#include "contract/MCPServerError.h"
#include "key/KeyProfiles.h"
#include "listening/LocalAudioAnalyzer.h"
#include "listening/MusicalKeyAnalyzer.h"
#include "platform/JsonMembers.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace brindlevane::BrindlevaneMCP {
namespace {

constexpr Seconds kTimeout{6};

/// What the bridge tells of the clip. What it leaves out, or gives in another type, has its
/// default.
struct SelectedClip {
  std::string kind;                     ///< "audio" or "midi" where the bridge keeps its word
  std::optional<std::string> filePath;  ///< source of an audio clip
  std::optional<std::vector<double>> pitchClasses;  ///< of a MIDI clip, all numbers, C first
  double transposeSemitones = 0;
  double startSeconds = 0;  ///< where the clip begins in its source
  std::optional<double> durationSeconds;
  Json labels;  ///< "track", "clip", "project" and "revision", for the assistant
};

std::string stringOr(const Json& object, const char* key, const char* fallback) {
  const std::string* const text = stringAt(object, key);
  return text == nullptr ? fallback : *text;
}

std::optional<double> doubleAt(const Json& object, const char* key) {
  const Json* const number = numberAt(object, key);
  return number == nullptr ? std::nullopt : std::optional(number->get<double>());
}

std::optional<std::vector<double>> numbersAt(const Json& object, const char* key) {
  const Json* const list = memberAt(object, key);
  const bool areNumbers =
      list != nullptr && list->is_array() && std::ranges::all_of(*list, &Json::is_number);
  return areNumbers ? std::optional(list->get<std::vector<double>>()) : std::nullopt;
}

SelectedClip selectedClip(const MCPBridgeClient& bridge) {
  const Json source = bridge.request("/v1/key-source", "GET", std::nullopt, kTimeout);
  const Json range = source.is_object() ? source.value("analysisRange", Json()) : Json();
  const std::string* const path = stringAt(source, "filePath");
  const Json* const revision = numberAt(source, "revision");
  return {.kind = stringOr(source, "kind", ""),
          .filePath = path == nullptr ? std::nullopt : std::optional(*path),
          .pitchClasses = numbersAt(source, "pitchClasses"),
          .transposeSemitones = doubleAt(source, "transposeSemitones").value_or(0),
          .startSeconds = doubleAt(range, "startSeconds").value_or(0),
          .durationSeconds = doubleAt(range, "durationSeconds"),
          .labels = {{"track", stringOr(source, "track", "Selected track")},
                     {"clip", stringOr(source, "clip", "Selected clip")},
                     {"project", stringOr(source, "project", "Untitled")},
                     {"revision", revision == nullptr ? Json(0) : *revision}}};
}

KeyDetection detected(const SelectedClip& clip, const Listener& listener) {
  if (clip.kind == "audio" && clip.filePath) {
    return MusicalKeyAnalyzer::analyzeAudio(*clip.filePath, clip.transposeSemitones,
                                            clip.startSeconds, clip.durationSeconds, listener);
  }
  if (clip.kind == "midi" && clip.pitchClasses) {
    return MusicalKeyAnalyzer::detect(*clip.pitchClasses, clip.transposeSemitones);
  }
  throw MCPServerError::invalidBridgeResponse();
}

}  // namespace

Json findKey(const MCPBridgeClient& bridge, const Listener& listener) {
  const SelectedClip clip = selectedClip(bridge);
  const KeyDetection detection = detected(clip, listener);
  Json result = clip.labels;
  result["kind"] = clip.kind;
  result["key"] = detection.key;
  result["confidence"] = detection.confidence;
  result["analyzedSeconds"] = detection.analyzedSeconds;
  return result;
}

Json listenSelectedClip(const MCPBridgeClient& bridge, const Listener& listener) {
  const SelectedClip clip = selectedClip(bridge);
  if (clip.kind != "audio" || !clip.filePath) {
    throw MCPServerError::invalidArguments(
        "Select an audio clip in Ableton before asking Brindlevane to listen. MIDI clips do not "
        "contain audio to decode.");
  }
  Json result = LocalAudioAnalyzer::analyze(*clip.filePath, clip.transposeSemitones,
                                            clip.startSeconds, clip.durationSeconds, listener)
                    .dictionary();
  result.update(clip.labels);
  return result;
}

}  // namespace brindlevane::BrindlevaneMCP
