#include "tools/Arguments.h"

#include "contract/MCPServerError.h"
#include "platform/JsonMembers.h"
#include "tools/ArgumentReaders.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>

// The analyser loses sight of what a std::function owns.
// NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks)

namespace brindlevane::BrindlevaneMCP {
namespace {

// Longest texts, in user-perceived characters.
constexpr std::size_t kLongestName = 96;
constexpr std::size_t kLongestQuery = 200;

constexpr std::size_t kMostNotes = 512;
constexpr int kLongestClip = 4096;  // beats
constexpr std::string_view kStateFields[] = {"mute", "solo", "arm"};
constexpr const char* kStateSentence =
    "field must be mute, solo or arm, and enabled must be boolean.";
constexpr std::string_view kRoles[] = {"kick", "clap",  "hat", "percussion", "bass", "chords",
                                       "lead", "vocal", "fx",  "loop",       "other"};

void require(bool kept, const std::string& sentence) {
  if (!kept) {
    throw MCPServerError::invalidArguments(sentence);
  }
}

Json described(Json schema, const std::string& description) {
  if (!description.empty()) {
    schema["description"] = description;
  }
  return schema;
}

Json bounded(const char* type, int least, int most) {
  return {{"type", type}, {"minimum", least}, {"maximum", most}};
}

Json choice(std::span<const std::string_view> words) {
  return {{"type", "string"}, {"enum", std::vector<std::string>(words.begin(), words.end())}};
}

bool isAmong(std::span<const std::string_view> words, std::string_view word) {
  return std::ranges::find(words, word) != words.end();
}

Reader asText(const std::string& name, std::size_t longest) {
  return [=](const Json& arguments) { return string(arguments, name, longest); };
}

bool isArrayOfObjects(const Json& value) {
  return value.is_array() && std::ranges::all_of(value, &Json::is_object);
}

const Json& midiNotesProperty() {
  static const Json kPiece = {
      {"type", "array"},
      {"minItems", 1},
      {"maxItems", kMostNotes},
      {"items",
       {{"type", "object"},
        {"additionalProperties", false},
        {"required", {"pitch", "startTime", "duration"}},
        {"properties",
         {{"pitch", {{"type", "integer"}, {"minimum", 0}, {"maximum", 127}}},
          {"startTime", {{"type", "number"}, {"minimum", 0}}},
          {"duration", {{"type", "number"}, {"exclusiveMinimum", 0}}},
          {"velocity", {{"type", "number"}, {"minimum", 1}, {"maximum", 127}}},
          {"mute", {{"type", "boolean"}}},
          {"probability", {{"type", "number"}, {"minimum", 0}, {"maximum", 1}}}}}}}};
  return kPiece;
}

}  // namespace

Argument index(const std::string& name, const std::string& description) {
  return {name, described({{"type", "integer"}, {"minimum", 0}}, description),
          [=](const Json& arguments) { return integer(arguments, name); }};
}

Argument count(const std::string& name, int least, int most, const std::string& sentence,
               const std::string& description) {
  return {name, described(bounded("integer", least, most), description),
          [=](const Json& arguments) {
            const std::int64_t value = integer(arguments, name);
            require(value >= least && value <= most, sentence);
            return value;
          }};
}

Argument number(const std::string& name, int least, int most, const std::string& sentence,
                const std::string& description) {
  return {name, described(bounded("number", least, most), description), [=](const Json& arguments) {
            const Json& given = number(arguments, name);
            const auto value = given.get<double>();
            require(value >= least && value <= most, sentence);
            return given;
          }};
}

Argument anyNumber(const std::string& name, const std::string& description) {
  return {name, described({{"type", "number"}}, description),
          [=](const Json& arguments) { return number(arguments, name); }};
}

Argument startTime(const std::string& description) {
  return {"startTime", described({{"type", "number"}, {"minimum", 0}}, description),
          [](const Json& arguments) {
            const Json& start = number(arguments, "startTime");
            require(start.get<double>() >= 0, "startTime must be zero or greater.");
            return start;
          }};
}

Argument text(const std::string& name) {
  return {name,
          {{"type", "string"}, {"minLength", 1}, {"maxLength", kLongestName}},
          asText(name, kLongestName)};
}

Argument tempo() {
  Argument argument =
      number("tempo", 40, 240, "tempo must be between 40 and 240 BPM.", "Target tempo in BPM.");
  argument.read = [read = argument.read](const Json& arguments) {
    return read(arguments).get<double>();
  };
  return argument;
}

Argument trackIndexProperty() {
  return index("trackIndex", "Zero-based index from projectAnalysis.tracks.");
}

Argument revisionProperty() {
  return index("expectedRevision",
               "Revision returned by brindlevane_get_context or brindlevane_get_session.");
}

Argument sessionRevisionProperty() {
  return index("expectedRevision", "Revision returned by brindlevane_get_session.");
}

Argument jobId() {
  return {"jobId",
          {{"type", "string"}, {"pattern", "^master_[a-f0-9]{32}$"}},
          [](const Json& arguments) {
            validateJobId(arguments);
            return string(arguments, "jobId", kLongestJobId);
          }};
}

Argument sampleId() {
  return {
      "sampleId", {{"type", "string"}, {"pattern", "^[a-f0-9]{24}$"}}, [](const Json& arguments) {
        validateSampleId(arguments);
        return string(arguments, "sampleId", kLongestSampleId);
      }};
}

Argument clipStart() {
  Argument start = anyNumber("startTime", "Arrangement position in beats.");
  start.schema.update({{"minimum", 0}, {"maximum", 1576800}});
  return start;
}

Argument clipLength() {
  Argument length = anyNumber("length", "Clip length in beats.");
  length.schema.update({{"exclusiveMinimum", 0}, {"maximum", kLongestClip}});
  length.read = [](const Json& arguments) {
    const auto start = number(arguments, "startTime").get<double>();
    const Json& given = number(arguments, "length");
    const auto beats = given.get<double>();
    require(start >= 0 && beats > 0 && beats <= kLongestClip,
            "Invalid MIDI clip position or length.");
    return given;
  };
  return length;
}

Argument stateField() {
  return {"field", choice(kStateFields), [](const Json& arguments) {
            std::string field = string(arguments, "field", kLongestName);
            require(isAmong(kStateFields, field), kStateSentence);
            return field;
          }};
}

Argument stateEnabled() {
  return {"enabled", {{"type", "boolean"}}, [](const Json& arguments) {
            const Json* const enabled = memberAt(arguments, "enabled");
            require(enabled != nullptr && enabled->is_boolean(), kStateSentence);
            return *enabled;
          }};
}

Argument newNotes() {
  return optional({"notes", midiNotesProperty(), [](const Json& arguments) {
                     const Json& notes = arguments.at("notes");
                     require(isArrayOfObjects(notes), "notes must be an array.");
                     require(notes.size() <= kMostNotes,
                             "A MIDI clip can contain at most 512 notes per call.");
                     return notes;
                   }});
}

Argument replacingNotes() {
  return {"notes", midiNotesProperty(), [](const Json& arguments) {
            const Json* const notes = memberAt(arguments, "notes");
            require(notes != nullptr && isArrayOfObjects(*notes) && !notes->empty() &&
                        notes->size() <= kMostNotes,
                    "notes must contain between 1 and 512 MIDI notes.");
            return *notes;
          }};
}

std::vector<Argument> trackCreationProperties() {
  return {revisionProperty(),
          optional(index("index", "Optional zero-based insertion index. Omit to append.")),
          optional(text("name"))};
}

Argument query() {
  return optional(
      {"query",
       {{"type", "string"},
        {"maxLength", kLongestQuery},
        {"description", "Style, pack or filename words such as tight tech house kick."}},
       asText("query", kLongestQuery)});
}

Argument role() {
  return optional({"role", choice(kRoles), [](const Json& arguments) {
                     const Json& given = arguments.at("role");
                     require(
                         !given.is_string() || isAmong(kRoles, given.get_ref<const std::string&>()),
                         "role is not supported.");
                     return given;
                   }});
}

Argument optional(Argument argument) {
  argument.isOptional = true;
  argument.read = [read = argument.read, name = argument.name](const Json& arguments) {
    (void)read(arguments);
    return arguments.at(name);
  };
  return argument;
}

}  // namespace brindlevane::BrindlevaneMCP

// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)
