#include "workflows/SelectedClip.h"

#include "platform/JsonMembers.h"

#include <algorithm>

namespace brindlevane {
namespace {

constexpr Seconds kTimeout{6};

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
      list != nullptr && list->is_array() &&
      std::all_of(list->begin(), list->end(), [](const Json& e) { return e.is_number(); });
  return areNumbers ? std::optional(list->get<std::vector<double>>()) : std::nullopt;
}

}  // namespace

std::optional<SelectedClip> selectedClip(const MCPBridgeClient& bridge) {
  const Json source = bridge.request("/v1/key-source", "GET", std::nullopt, kTimeout);
  if (!source.is_object()) {
    return std::nullopt;
  }
  const Json range = source.value("analysisRange", Json());
  const std::string* const path = stringAt(source, "filePath");
  const Json* const revision = numberAt(source, "revision");
  return SelectedClip{.kind = stringOr(source, "kind", ""),
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

}  // namespace brindlevane
