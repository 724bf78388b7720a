#include "workflows/SelectedClip.h"

#include <algorithm>

namespace brindlevane {
namespace {

constexpr Seconds kTimeout{6};

std::optional<std::string> stringAt(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? std::optional(found->get<std::string>())
                                                     : std::nullopt;
}

/// The number as it was received; a boolean is none.
std::optional<Json> numberAt(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_number() ? std::optional(*found) : std::nullopt;
}

std::optional<double> doubleAt(const Json& object, const char* key) {
  const std::optional<Json> number = numberAt(object, key);
  return number ? std::optional(number->get<double>()) : std::nullopt;
}

std::optional<std::vector<double>> numbersAt(const Json& object, const char* key) {
  const auto found = object.find(key);
  const bool areNumbers =
      found != object.end() && found->is_array() &&
      std::all_of(found->begin(), found->end(), [](const Json& e) { return e.is_number(); });
  return areNumbers ? std::optional(found->get<std::vector<double>>()) : std::nullopt;
}

}  // namespace

std::optional<SelectedClip> selectedClip(const MCPBridgeClient& bridge) {
  const Json source = bridge.request("/v1/key-source", "GET", std::nullopt, kTimeout);
  if (!source.is_object()) {
    return std::nullopt;
  }
  const Json range = source.value("analysisRange", Json());
  return SelectedClip{.kind = stringAt(source, "kind").value_or(""),
                      .filePath = stringAt(source, "filePath"),
                      .pitchClasses = numbersAt(source, "pitchClasses"),
                      .transposeSemitones = doubleAt(source, "transposeSemitones").value_or(0),
                      .startSeconds = doubleAt(range, "startSeconds").value_or(0),
                      .durationSeconds = doubleAt(range, "durationSeconds"),
                      .labels = {{"track", stringAt(source, "track").value_or("Selected track")},
                                 {"clip", stringAt(source, "clip").value_or("Selected clip")},
                                 {"project", stringAt(source, "project").value_or("Untitled")},
                                 {"revision", numberAt(source, "revision").value_or(0)}}};
}

}  // namespace brindlevane
