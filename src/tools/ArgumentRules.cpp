#include "tools/ArgumentRules.h"

#include "server/contract/MCPServerError.h"
#include "tools/ArgumentReaders.h"
#include "tools/Identifiers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string_view>
#include <utility>

namespace brindlevane::BrindlevaneMCP {
namespace {

/// One rule: returns when the arguments keep it, else throws.
using Check = std::function<void(const Json& arguments)>;

constexpr std::size_t kMostNotes = 512;

void require(bool kept, const char* sentence) {
  if (!kept) {
    throw MCPServerError::invalidArguments(sentence);
  }
}

bool isArrayOfObjects(const Json& value) {
  return value.is_array() && std::all_of(value.begin(), value.end(),
                                         [](const Json& element) { return element.is_object(); });
}

Check noArguments() {
  return [](const Json& arguments) {
    require(arguments.empty(), "This tool does not accept arguments.");
  };
}

Check confirmation() {
  return requireConfirmation;
}

Check wholeNumber(const char* key) {
  return [key](const Json& arguments) { (void)integer(arguments, key); };
}

Check wholeNumberBetween(const char* key, std::int64_t least, std::int64_t most,
                         const char* sentence) {
  return [=](const Json& arguments) {
    const std::int64_t value = integer(arguments, key);
    require(value >= least && value <= most, sentence);
  };
}

Check anyNumber(const char* key) {
  return [key](const Json& arguments) { (void)number(arguments, key); };
}

Check numberBetween(const char* key, double least, double most, const char* sentence) {
  return [=](const Json& arguments) {
    const auto value = number(arguments, key).get<double>();
    require(value >= least && value <= most, sentence);
  };
}

Check startTime() {
  return [](const Json& arguments) {
    require(number(arguments, "startTime").get<double>() >= 0,
            "startTime must be zero or greater.");
  };
}

Check text(const char* key, std::size_t maximumLength) {
  return [=](const Json& arguments) { (void)string(arguments, key, maximumLength); };
}

/// The check, left out when the key is absent; a null is present.
Check ifPresent(const char* key, Check check) {
  return [key, check = std::move(check)](const Json& arguments) {
    if (arguments.contains(key)) {
      check(arguments);
    }
  };
}

Check sampleId() {
  return [](const Json& arguments) {
    require(isSampleId(string(arguments, "sampleId", kLongestSampleId)),
            "sampleId must come from brindlevane_search_samples.");
  };
}

/// A role that is no string is left to the bridge.
Check role() {
  return [](const Json& arguments) {
    static constexpr std::array<std::string_view, 11> kRoles = {
        "kick", "clap",  "hat", "percussion", "bass", "chords",
        "lead", "vocal", "fx",  "loop",       "other"};
    const Json& value = arguments.at("role");
    require(!value.is_string() || std::find(kRoles.begin(), kRoles.end(),
                                            value.get_ref<const std::string&>()) != kRoles.end(),
            "role is not supported.");
  };
}

/// Both numbers are read before either is judged.
Check clipSpan() {
  return [](const Json& arguments) {
    const auto start = number(arguments, "startTime").get<double>();
    const auto length = number(arguments, "length").get<double>();
    require(start >= 0 && length > 0 && length <= 4096, "Invalid MIDI clip position or length.");
  };
}

Check newNotes() {
  return [](const Json& arguments) {
    const Json& notes = arguments.at("notes");
    require(isArrayOfObjects(notes), "notes must be an array.");
    require(notes.size() <= kMostNotes, "A MIDI clip can contain at most 512 notes per call.");
  };
}

Check replacingNotes() {
  return [](const Json& arguments) {
    const auto notes = arguments.find("notes");
    require(notes != arguments.end() && isArrayOfObjects(*notes) && !notes->empty() &&
                notes->size() <= kMostNotes,
            "notes must contain between 1 and 512 MIDI notes.");
  };
}

Check trackState() {
  return [](const Json& arguments) {
    const std::string field = string(arguments, "field", kLongestName);
    const auto enabled = arguments.find("enabled");
    require((field == "mute" || field == "solo" || field == "arm") && enabled != arguments.end() &&
                enabled->is_boolean(),
            "field must be mute, solo or arm, and enabled must be boolean.");
  };
}

using RuleTable = std::map<std::string_view, std::vector<Check>>;

// NOLINTNEXTLINE(readability-function-size): a table.
const RuleTable& rules() {
  static const RuleTable kRules = {
      {"brindlevane_get_session", {noArguments()}},
      {"brindlevane_get_context", {noArguments()}},
      {"brindlevane_analyze_project", {noArguments()}},
      {"brindlevane_analyze_mix_preparation", {noArguments()}},
      {"brindlevane_get_device_parameters",
       {wholeNumber("trackIndex"), wholeNumber("deviceIndex")}},
      {"brindlevane_find_key", {noArguments()}},
      {"brindlevane_listen_selected_clip", {noArguments()}},
      {"brindlevane_start_master_listen",
       {confirmation(), wholeNumberBetween("bars", 1, 32, "bars must be between 1 and 32."),
        startTime(), wholeNumber("expectedRevision")}},
      {"brindlevane_get_master_listen", {validateJobId}},
      {"brindlevane_cancel_master_listen", {confirmation(), validateJobId}},
      {"brindlevane_play", {confirmation()}},
      {"brindlevane_stop", {confirmation()}},
      {"brindlevane_set_tempo",
       {confirmation(), numberBetween("tempo", 40, 240, "tempo must be between 40 and 240 BPM."),
        wholeNumber("expectedRevision")}},
      {"brindlevane_organize_tracks", {confirmation(), wholeNumber("expectedRevision")}},
      {"brindlevane_build_arrangement", {confirmation(), wholeNumber("expectedRevision")}},
      {"brindlevane_create_midi_track",
       {confirmation(), wholeNumber("expectedRevision"), ifPresent("index", wholeNumber("index")),
        ifPresent("name", text("name", kLongestName))}},
      {"brindlevane_create_audio_track",
       {confirmation(), wholeNumber("expectedRevision"), ifPresent("index", wholeNumber("index")),
        ifPresent("name", text("name", kLongestName))}},
      {"brindlevane_search_samples",
       {ifPresent("query", text("query", kLongestQuery)), ifPresent("role", role()),
        ifPresent("limit", wholeNumberBetween("limit", 1, 40, "limit must be between 1 and 40."))}},
      {"brindlevane_import_sample",
       {confirmation(), sampleId(), startTime(), wholeNumber("expectedRevision"),
        ifPresent("trackName", text("trackName", kLongestName))}},
      {"brindlevane_create_midi_clip",
       {confirmation(), wholeNumber("trackIndex"), clipSpan(), wholeNumber("expectedRevision"),
        ifPresent("name", text("name", kLongestName)), ifPresent("notes", newNotes())}},
      {"brindlevane_replace_selected_midi_clip",
       {confirmation(), wholeNumber("trackIndex"), wholeNumber("expectedRevision"),
        ifPresent("name", text("name", kLongestName)), replacingNotes()}},
      {"brindlevane_rename_track",
       {confirmation(), wholeNumber("trackIndex"), text("name", kLongestName),
        wholeNumber("expectedRevision")}},
      {"brindlevane_select_track",
       {confirmation(), wholeNumber("trackIndex"), wholeNumber("expectedRevision")}},
      {"brindlevane_set_track_state",
       {confirmation(), wholeNumber("trackIndex"), trackState(), wholeNumber("expectedRevision")}},
      {"brindlevane_set_track_volume",
       {confirmation(), wholeNumber("trackIndex"),
        numberBetween("displayDb", -70, 6, "displayDb must be between -70 and +6 dB."),
        wholeNumber("expectedRevision")}},
      {"brindlevane_set_device_parameter",
       {confirmation(), wholeNumber("trackIndex"), wholeNumber("deviceIndex"),
        wholeNumber("parameterIndex"), anyNumber("value"), wholeNumber("expectedRevision")}},
      {"brindlevane_set_send_level",
       {confirmation(), wholeNumber("trackIndex"), wholeNumber("sendIndex"),
        numberBetween("displayDb", -70, 0, "displayDb must be between -70 and 0 dB."),
        wholeNumber("expectedRevision")}},
      {"brindlevane_undo_last_organization", {confirmation()}},
  };
  return kRules;
}

}  // namespace

void validateArguments(const std::string& name, const Json& arguments) {
  const auto found = rules().find(name);
  if (found == rules().end()) {
    throw MCPServerError::invalidArguments("Unknown Brindlevane tool: " + name);
  }
  for (const Check& check : found->second) {
    check(arguments);
  }
}

std::vector<std::string> toolsWithRules() {
  std::vector<std::string> names;
  for (const auto& [name, checks] : rules()) {
    names.emplace_back(name);
  }
  return names;
}

}  // namespace brindlevane::BrindlevaneMCP
