#include "tools/Arguments.h"

#include "contract/MCPServerError.h"
#include "tools/ArgumentReaders.h"
#include "tools/SchemaPieces.h"

#include <algorithm>
#include <span>
#include <string_view>

// The analyser loses sight of what a std::function owns.
// NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks)

namespace brindlevane::BrindlevaneMCP {
namespace {

constexpr std::size_t kLongestQuery = 200;
constexpr std::int64_t kLongestClip = 4096;  // beats
constexpr std::string_view kStateFields[] = {"mute", "solo", "arm"};
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

Json bounded(const char* type, std::int64_t least, std::int64_t most) {
  return {{"type", type}, {"minimum", least}, {"maximum", most}};
}

Json choice(std::span<const std::string_view> words) {
  return {{"type", "string"}, {"enum", std::vector<std::string>(words.begin(), words.end())}};
}

bool isAmong(std::span<const std::string_view> words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

Value asInteger(const std::string& name) {
  return [=](const Json& arguments) { return integer(arguments, name); };
}

Value asNumber(const std::string& name) {
  return [=](const Json& arguments) { return number(arguments, name); };
}

Value asText(const std::string& name, std::size_t longest) {
  return [=](const Json& arguments) { return string(arguments, name, longest); };
}

Value asReceived(const std::string& name) {
  return [=](const Json& arguments) { return arguments.at(name); };
}

/// An argument that is accepted when it can be read.
Argument readable(const std::string& name, const Json& schema, const Value& value) {
  return {name, schema, [=](const Json& arguments) { (void)value(arguments); }, value};
}

Argument indexLike(const std::string& name, const Json& schema) {
  return readable(name, schema, asInteger(name));
}

bool isArrayOfObjects(const Json& value) {
  return value.is_array() && std::all_of(value.begin(), value.end(),
                                         [](const Json& element) { return element.is_object(); });
}

}  // namespace

Argument index(const std::string& name, const std::string& description) {
  return indexLike(name, described({{"type", "integer"}, {"minimum", 0}}, description));
}

Argument count(const std::string& name, std::int64_t least, std::int64_t most,
               const std::string& sentence, const std::string& description) {
  return {name, described(bounded("integer", least, most), description),
          [=](const Json& arguments) {
            const std::int64_t value = integer(arguments, name);
            require(value >= least && value <= most, sentence);
          },
          asInteger(name)};
}

Argument number(const std::string& name, std::int64_t least, std::int64_t most,
                const std::string& sentence, const std::string& description) {
  return {name, described(bounded("number", least, most), description),
          [=](const Json& arguments) {
            const auto value = number(arguments, name).get<double>();
            require(value >= static_cast<double>(least) && value <= static_cast<double>(most),
                    sentence);
          },
          asNumber(name)};
}

Argument floating(const std::string& name, std::int64_t least, std::int64_t most,
                  const std::string& sentence, const std::string& description) {
  Argument argument = number(name, least, most, sentence, description);
  argument.sent = [=](const Json& arguments) { return number(arguments, name).get<double>(); };
  return argument;
}

Argument anyNumber(const std::string& name, const std::string& description) {
  return readable(name, described({{"type", "number"}}, description), asNumber(name));
}

Argument startTime(const std::string& description) {
  return {"startTime", described({{"type", "number"}, {"minimum", 0}}, description),
          [](const Json& arguments) {
            require(number(arguments, "startTime").get<double>() >= 0,
                    "startTime must be zero or greater.");
          },
          asNumber("startTime")};
}

Argument text(const std::string& name, std::size_t longest) {
  return readable(name, {{"type", "string"}, {"minLength", 1}, {"maxLength", longest}},
                  asText(name, longest));
}

Argument trackIndex() {
  return indexLike("trackIndex", trackIndexProperty());
}

Argument revision() {
  return indexLike("expectedRevision", revisionProperty());
}

Argument sessionRevision() {
  return indexLike("expectedRevision", sessionRevisionProperty());
}

Argument jobId() {
  return {"jobId",
          {{"type", "string"}, {"pattern", "^master_[a-f0-9]{32}$"}},
          validateJobId,
          asText("jobId", kLongestJobId)};
}

Argument sampleId() {
  return {"sampleId",
          {{"type", "string"}, {"pattern", "^[a-f0-9]{24}$"}},
          validateSampleId,
          asText("sampleId", kLongestSampleId)};
}

Argument clipStart() {
  Argument start = anyNumber("startTime", "Arrangement position in beats.");
  start.schema.update({{"minimum", 0}, {"maximum", 1576800}});
  return start;
}

Argument clipLength() {
  Argument length = anyNumber("length", "Clip length in beats.");
  length.schema.update({{"exclusiveMinimum", 0}, {"maximum", kLongestClip}});
  length.check = [](const Json& arguments) {
    const auto start = number(arguments, "startTime").get<double>();
    const auto beats = number(arguments, "length").get<double>();
    require(start >= 0 && beats > 0 && beats <= static_cast<double>(kLongestClip),
            "Invalid MIDI clip position or length.");
  };
  return length;
}

Argument stateField() {
  return readable("field", choice(kStateFields), asText("field", kLongestName));
}

Argument stateEnabled() {
  return {"enabled",
          {{"type", "boolean"}},
          [](const Json& arguments) {
            const auto enabled = arguments.find("enabled");
            require(isAmong(kStateFields, string(arguments, "field", kLongestName)) &&
                        enabled != arguments.end() && enabled->is_boolean(),
                    "field must be mute, solo or arm, and enabled must be boolean.");
          },
          asReceived("enabled")};
}

Argument newNotes() {
  const Check check = [](const Json& arguments) {
    const Json& notes = arguments.at("notes");
    require(isArrayOfObjects(notes), "notes must be an array.");
    require(notes.size() <= kMostNotes, "A MIDI clip can contain at most 512 notes per call.");
  };
  return optional({"notes", midiNotesProperty(), check, {}});
}

Argument replacingNotes() {
  return {"notes", midiNotesProperty(),
          [](const Json& arguments) {
            const auto notes = arguments.find("notes");
            require(notes != arguments.end() && isArrayOfObjects(*notes) && !notes->empty() &&
                        notes->size() <= kMostNotes,
                    "notes must contain between 1 and 512 MIDI notes.");
          },
          asReceived("notes")};
}

std::vector<Argument> trackCreation() {
  const Json& schemas = trackCreationProperties();
  return {indexLike("expectedRevision", schemas.at("expectedRevision")),
          optional(indexLike("index", schemas.at("index"))),
          optional(readable("name", schemas.at("name"), asText("name", kLongestName)))};
}

Argument query() {
  Argument argument = text("query", kLongestQuery);
  argument.schema = described({{"type", "string"}, {"maxLength", kLongestQuery}},
                              "Style, pack or filename words such as tight tech house kick.");
  return argument;
}

Argument role() {
  const Check check = [](const Json& arguments) {
    const Json& value = arguments.at("role");
    require(!value.is_string() || isAmong(kRoles, value.get_ref<const std::string&>()),
            "role is not supported.");
  };
  return optional({"role", choice(kRoles), check, {}});
}

Argument optional(Argument argument) {
  argument.isOptional = true;
  argument.sent = asReceived(argument.name);
  return argument;
}

}  // namespace brindlevane::BrindlevaneMCP

// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)
