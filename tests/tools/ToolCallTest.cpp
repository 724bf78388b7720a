#include "contract/MCPServerError.h"
#include "platform/Text.h"
#include "tests/support/ToolCalls.h"
#include "tools/Catalogue.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

const std::string kUnconfirmed =
    "Explicit user confirmation is required. Ask the user, then call again with confirm=true.";
const std::string kNoArguments = "This tool does not accept arguments.";
const std::string kState = "field must be mute, solo or arm, and enabled must be boolean.";
const std::string kSomeNotes = "notes must contain between 1 and 512 MIDI notes.";

/// What the rules say of a call; nothing when it passes.
std::string refusalOf(const std::string& tool, const Json& arguments) {
  try {
    BrindlevaneMCP::validateArguments("brindlevane_" + tool, arguments);
    return "";
  } catch (const MCPServerError& error) {
    return error.errorDescription;
  }
}

const Json kAbsent = Json(Json::value_t::discarded);

/// The complete call with one argument changed, or taken away.
std::string refusalWith(const std::string& tool, const std::string& key, const Json& value) {
  Json call = toolCalls().at(tool).at("arguments");
  if (value.is_discarded()) {
    call.erase(key);
  } else {
    call[key] = value;
  }
  return refusalOf(tool, call);
}

/// A value for an argument, and whether the argument's schema allows it.
struct Sample {
  std::string what;
  Json value;
  bool isAllowed;
};

std::vector<Sample> numberSamples(const Json& schema) {
  const bool isWhole = schema.at("type") == "integer";
  std::vector<Sample> samples = {{"text", "1", false}, {"boolean", true, false}};
  if (isWhole) {
    samples.push_back({"fraction", 1.5, false});
    samples.push_back({"whole with fraction", 1.0, true});
  }
  // The keyword, the direction in which the next number lies on its other side.
  for (const auto& [limit, direction] :
       {std::pair("minimum", -1), std::pair("exclusiveMinimum", 1), std::pair("maximum", 1)}) {
    if (schema.contains(limit)) {
      const Json& bound = schema[limit];
      const bool isAllowed = limit != std::string("exclusiveMinimum");
      samples.push_back({limit, bound, isAllowed});
      samples.push_back({std::string("beyond ") + limit,
                         isWhole ? Json(bound.get<int>() + direction)
                                 : Json(bound.get<double>() + 0.01 * direction),
                         !isAllowed});
    }
  }
  return samples;
}

std::vector<Sample> stringSamples(const Json& schema, const Json& usual) {
  std::vector<Sample> samples = {{"number", 1, false}};
  if (schema.contains("enum")) {
    for (const Json& member : schema["enum"]) {
      samples.push_back({member, member, true});
    }
    samples.push_back({"stranger", "stranger", false});
    samples.push_back({"padded", schema["enum"][0].get<std::string>() + " ", false});
  } else if (schema.contains("pattern")) {
    const std::string id(trimmed(usual.get_ref<const std::string&>()));
    const std::string shorter = id.substr(0, id.size() - 1);
    samples.push_back({"padded", id + " ", false});
    samples.push_back({"id", id, true});
    for (const std::string& stranger : {shorter, id + "0", shorter + "A", shorter + "g"}) {
      samples.push_back({stranger, stranger, false});
    }
  } else {
    const std::size_t longest = schema.at("maxLength");
    samples.push_back({"empty", "", schema.value("minLength", 0) == 0});
    samples.push_back({"longest", std::string(longest, 'x'), true});
    samples.push_back({"too long", std::string(longest + 1, 'x'), false});
    samples.push_back({"padded", std::string(longest, 'x') + "\u3000", false});
  }
  return samples;
}

std::vector<Sample> arraySamples(const Json& schema) {
  const auto notes = [](std::size_t count) {
    return Json(std::vector<Json>(count, {{"pitch", 0}, {"startTime", 0}, {"duration", 1}}));
  };
  const std::size_t fewest = schema.at("minItems");
  const std::size_t most = schema.at("maxItems");
  return {{"fewest", notes(fewest), true},   {"too few", notes(fewest - 1), false},
          {"most", notes(most), true},       {"too many", notes(most + 1), false},
          {"numbers", {1, 2}, false},        {"text", "c4", false},
          {"object", Json::object(), false}, {"empty note", Json::array({Json::object()}), false}};
}

std::vector<Sample> samplesOf(const Json& schema, const Json& usual) {
  const Json& type = schema.at("type");
  std::vector<Sample> samples;
  if (type == "boolean") {
    const bool isConstant = schema.contains("const");
    samples = {{"true", true, true}, {"false", false, !isConstant}, {"number", 1, false}};
  } else if (type == "string") {
    samples = stringSamples(schema, usual);
  } else if (type == "array") {
    samples = arraySamples(schema);
  } else {
    samples = numberSamples(schema);
  }
  samples.push_back({"null", nullptr, false});
  return samples;
}

/// Where schema and rule differ on purpose: "argument what" of a tool, or of every tool ("*").
const std::map<std::pair<std::string, std::string>, std::string> kDifferences = {
    {{"*", "jobId padded"}, "outer white space does not count"},
    {{"*", "sampleId padded"}, "the same"},
    {{"*", "name padded"}, "the same"},
    {{"*", "trackName padded"}, "the same"},
    {{"*", "query padded"}, "the same"},
    {{"*", "field padded"}, "the same"},
    {{"*", "query empty"}, "a query needs a character to look for"},
    {{"*", "notes empty note"}, "the members of a note are left to the bridge"},
    {{"create_midi_clip", "notes too few"}, "a new clip may be empty"},
    {{"create_midi_clip", "startTime beyond maximum"}, "Live knows where its time ends"},
    {{"*", "role number"}, "a role that is no string is left to the bridge"},
    {{"*", "role null"}, "the same"}};

TEST(ToolCall, RulesRefuseWhatSchemasForbidAndNothingElse) {
  auto unseen = kDifferences;
  for (const Json& offered : BrindlevaneMCP::tools()) {
    const std::string tool = offered["name"].get<std::string>().substr(12);
    const Json& schema = offered["inputSchema"];
    const Json& usual = toolCalls().at(tool).at("arguments");
    SCOPED_TRACE(tool);
    ASSERT_EQ(usual.size(), schema["properties"].size());
    EXPECT_EQ(refusalOf(tool, usual), "");
    // An undeclared member is ignored where a tool takes any, whatever its schema says.
    EXPECT_EQ(refusalWith(tool, "other", 1), usual.empty() ? kNoArguments : "");
    EXPECT_EQ(refusalWith(tool, "other", nullptr), usual.empty() ? kNoArguments : "");
    std::vector<std::string> required = schema["required"];
    for (const auto& [key, property] : schema["properties"].items()) {
      const bool isRequired = std::erase(required, key) > 0;
      EXPECT_EQ(refusalWith(tool, key, kAbsent).empty(), !isRequired) << key;
      for (const Sample& sample : samplesOf(property, usual.at(key))) {
        const std::string what = key + " " + sample.what;
        const bool differs =
            kDifferences.contains({tool, what}) || kDifferences.contains({"*", what});
        unseen.erase({tool, what});
        unseen.erase({"*", what});
        EXPECT_EQ(refusalWith(tool, key, sample.value).empty(), sample.isAllowed != differs)
            << what << " " << sample.value.dump().substr(0, 100);
      }
    }
    EXPECT_EQ(required, std::vector<std::string>()) << "required but not declared";
  }
  for (const auto& [where, reason] : unseen) {
    ADD_FAILURE() << where.first << " " << where.second << " was not tried: " << reason;
  }
}

/// How an argument that is null, or a stranger to its list, is refused.
std::string refusalOfNull(const std::string& tool, const std::string& key) {
  const std::map<std::string, std::string> sentences = {
      {"confirm", kUnconfirmed},
      {"enabled", kState},
      {"role", "role is not supported."},
      {"notes", tool == "create_midi_clip" ? "notes must be an array." : kSomeNotes}};
  const bool isText = toolCalls().at(tool).at("arguments").at(key).is_string();
  const auto found = sentences.find(key);
  return found != sentences.end() ? found->second
                                  : key + (isText ? " must be a string." : " must be a number.");
}

TEST(ToolCall, ChecksComeInOrder) {
  for (const auto& [tool, known] : toolCalls().items()) {
    const auto order = known.value("checks", std::vector<std::string>());
    ASSERT_EQ(order.size(), known.at("arguments").size()) << tool;
    Json call = Json::object();
    for (const std::string& key : order) {
      call[key] = key == "role" ? Json("Kick") : Json();
    }
    for (const std::string& key : order) {
      EXPECT_EQ(refusalOf(tool, call), refusalOfNull(tool, key)) << tool << " " << key;
      call[key] = known["arguments"].at(key);
    }
    EXPECT_EQ(refusalOf(tool, call), "") << tool;
  }
  // Both numbers of a clip are read before either is judged.
  EXPECT_EQ(
      refusalOf("create_midi_clip", {{"confirm", true}, {"trackIndex", 0}, {"startTime", -1}}),
      "length must be a number.");
  EXPECT_EQ(refusalOf("set_track_state", {{"confirm", true}, {"trackIndex", 0}, {"field", "x"}}),
            kState);
}

TEST(ToolCall, EachRuleHasItsSentence) {
  for (const Json& row : testData("refusals.json")) {
    EXPECT_EQ(refusalWith(row["tool"], row["key"], row.value("value", kAbsent)), row["refusal"])
        << row;
  }
  const Json notes513(std::vector<Json>(513, Json::object()));
  EXPECT_EQ(refusalWith("create_midi_clip", "notes", notes513),
            "A MIDI clip can contain at most 512 notes per call.");
  EXPECT_EQ(refusalWith("replace_selected_midi_clip", "notes", notes513), kSomeNotes);
}

}  // namespace
}  // namespace brindlevane
