#include "bridge/RouteTable.h"
#include "server/contract/MCPServerError.h"
#include "tools/ArgumentRules.h"
#include "tools/Catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

/// What the rules say of a call; nothing when it passes.
std::string refusalOf(const std::string& tool, const Json& arguments) {
  try {
    BrindlevaneMCP::validateArguments("brindlevane_" + tool, arguments);
    return "";
  } catch (const MCPServerError& error) {
    return error.what();
  }
}

/// A call that each tool accepts.
const Json& accepted() {
  static const Json kCalls = [] {
    const Json revised = {{"confirm", true}, {"expectedRevision", 42}};
    const auto with = [&](const Json& more) {
      Json call = revised;
      call.update(more);
      return call;
    };
    const Json note = {{"pitch", 60}, {"startTime", 0}, {"duration", 1}};
    return Json{
        {"get_session", Json::object()},
        {"get_context", Json::object()},
        {"analyze_project", Json::object()},
        {"analyze_mix_preparation", Json::object()},
        {"find_key", Json::object()},
        {"listen_selected_clip", Json::object()},
        {"search_samples", Json::object()},
        {"get_device_parameters", {{"trackIndex", 0}, {"deviceIndex", 2.0}}},
        {"start_master_listen", with({{"bars", 8}, {"startTime", 0}})},
        {"get_master_listen", {{"jobId", "master_0123456789abcdef0123456789abcdef"}}},
        {"cancel_master_listen",
         {{"jobId", " master_0123456789abcdef0123456789abcdef\n"}, {"confirm", true}}},
        {"play", {{"confirm", true}}},
        {"stop", {{"confirm", true}}},
        {"undo_last_organization", {{"confirm", true}}},
        {"set_tempo", with({{"tempo", 120}})},
        {"organize_tracks", revised},
        {"build_arrangement", revised},
        {"create_midi_track", revised},
        {"create_audio_track", revised},
        {"import_sample", with({{"sampleId", " 0123456789abcdef01234567 "}, {"startTime", 0}})},
        {"create_midi_clip", with({{"trackIndex", 0}, {"startTime", 0}, {"length", 4}})},
        {"replace_selected_midi_clip", with({{"trackIndex", 0}, {"notes", {note}}})},
        {"rename_track", with({{"trackIndex", 0}, {"name", "Kick"}})},
        {"select_track", with({{"trackIndex", 0}})},
        {"set_track_state", with({{"trackIndex", 0}, {"field", " solo "}, {"enabled", false}})},
        {"set_track_volume", with({{"trackIndex", 0}, {"displayDb", -6.5}})},
        {"set_device_parameter",
         with({{"trackIndex", 0}, {"deviceIndex", 0}, {"parameterIndex", 0}, {"value", -1e9}})},
        {"set_send_level", with({{"trackIndex", 0}, {"sendIndex", 0}, {"displayDb", 0}})}};
  }();
  return kCalls;
}

/// The accepted call with one argument changed, or taken away where the value is discarded.
std::string refusalWith(const std::string& tool, const std::string& key, const Json& value) {
  Json call = accepted().at(tool);
  if (value.is_discarded()) {
    call.erase(key);
  } else {
    call[key] = value;
  }
  return refusalOf(tool, call);
}

const Json kAbsent = Json(Json::value_t::discarded);
const std::string kUnconfirmed =
    "Explicit user confirmation is required. Ask the user, then call again with confirm=true.";

TEST(ArgumentRules, CatalogueRulesAndRoutesKnowTheSameTools) {
  const std::vector<std::string> ruled = BrindlevaneMCP::toolsWithRules();
  std::vector<std::string> worked = toolsWithRoutes();
  worked.insert(worked.end(), {"brindlevane_find_key", "brindlevane_listen_selected_clip",
                               "brindlevane_get_master_listen"});
  std::vector<std::string> offered;
  for (const Json& tool : BrindlevaneMCP::tools()) {
    offered.push_back(tool["name"]);
  }
  std::sort(offered.begin(), offered.end());
  std::sort(worked.begin(), worked.end());
  EXPECT_EQ(offered.size(), 28U);
  EXPECT_EQ(ruled, offered);
  EXPECT_EQ(worked, offered);
}

TEST(ArgumentRules, AProperCallOfEveryToolPasses) {
  EXPECT_EQ(accepted().size(), 28U);
  for (const auto& [tool, call] : accepted().items()) {
    EXPECT_EQ(refusalOf(tool, call), "") << tool;
  }
}

TEST(ArgumentRules, ConfirmationComesBeforeEverythingElse) {
  for (const Json& tool : BrindlevaneMCP::tools()) {
    const std::string name = tool["name"].get<std::string>().substr(12);
    if (!tool["inputSchema"]["properties"].contains("confirm")) {
      continue;
    }
    for (const Json& confirm : {Json(false), Json(nullptr), Json(1), Json("true"), Json({true})}) {
      EXPECT_EQ(refusalOf(name, {{"confirm", confirm}}), kUnconfirmed) << name << confirm;
    }
    EXPECT_EQ(refusalOf(name, Json::object()), kUnconfirmed) << name;
  }
}

TEST(ArgumentRules, EachArgumentIsHeldToItsRule) {
  const std::string clip = "Invalid MIDI clip position or length.";
  const std::string state = "field must be mute, solo or arm, and enabled must be boolean.";
  const std::string manyNotes = "A MIDI clip can contain at most 512 notes per call.";
  const std::string someNotes = "notes must contain between 1 and 512 MIDI notes.";
  const std::string tempo = "tempo must be between 40 and 240 BPM.";
  const std::string volume = "displayDb must be between -70 and +6 dB.";
  const std::string send = "displayDb must be between -70 and 0 dB.";
  const std::string early = "startTime must be zero or greater.";
  const std::string sample = "sampleId must come from brindlevane_search_samples.";
  const std::string job = "jobId is not a valid Brindlevane master-listen id.";
  const std::string hex32 = "0123456789abcdef0123456789abcdef";
  const Json notes512(std::vector<Json>(512, Json::object()));
  const Json notes513(std::vector<Json>(513, Json::object()));
  const std::vector<std::tuple<std::string, std::string, Json, std::string>> cases = {
      {"get_context", "verbose", true, "This tool does not accept arguments."},
      {"find_key", "x", nullptr, "This tool does not accept arguments."},
      {"get_device_parameters", "deviceIndex", kAbsent, "deviceIndex must be a number."},
      {"get_device_parameters", "trackIndex", true, "trackIndex must be a number."},
      {"get_device_parameters", "trackIndex", 2.5, "trackIndex must be a non-negative integer."},
      {"get_device_parameters", "trackIndex", -1, "trackIndex must be a non-negative integer."},
      {"get_device_parameters", "trackIndex", -0.0, ""},
      {"get_device_parameters", "trackIndex", 9223372036854775807LL, ""},
      {"get_device_parameters", "trackIndex", 9223372036854775808ULL,
       "trackIndex must be a non-negative integer."},
      {"get_device_parameters", "trackIndex", 9223372036854775808.0,
       "trackIndex must be a non-negative integer."},
      {"get_device_parameters", "trackIndex", 1e300, "trackIndex must be a non-negative integer."},
      {"get_device_parameters", "other", "ignored", ""},
      {"start_master_listen", "bars", 0, "bars must be between 1 and 32."},
      {"start_master_listen", "bars", 32.0, ""},
      {"start_master_listen", "bars", 33, "bars must be between 1 and 32."},
      {"start_master_listen", "startTime", -0.5, early},
      {"start_master_listen", "expectedRevision", nullptr, "expectedRevision must be a number."},
      {"get_master_listen", "jobId", kAbsent, "jobId must be a string."},
      {"get_master_listen", "jobId", "master_" + hex32.substr(1), job},
      {"get_master_listen", "jobId", "Master_" + hex32, job},
      {"get_master_listen", "jobId", "master_" + hex32 + "\nx", job},
      {"get_master_listen", "jobId", std::string(80, 'a'), job},
      {"get_master_listen", "jobId", std::string(81, 'a'),
       "jobId must contain 1 to 80 characters."},
      {"cancel_master_listen", "jobId", "", "jobId must contain 1 to 80 characters."},
      {"set_tempo", "tempo", 40, ""},
      {"set_tempo", "tempo", 240.0, ""},
      {"set_tempo", "tempo", 39.99, tempo},
      {"set_tempo", "tempo", 240.5, tempo},
      {"set_tempo", "tempo", "120", "tempo must be a number."},
      {"create_audio_track", "index", nullptr, "index must be a number."},
      {"create_midi_track", "name", "  ", "name must contain 1 to 96 characters."},
      {"create_midi_track", "name", nullptr, "name must be a string."},
      {"search_samples", "query", "   ", "query must contain 1 to 200 characters."},
      {"search_samples", "role", "Kick", "role is not supported."},
      {"search_samples", "role", " kick", "role is not supported."},
      {"search_samples", "role", "other", ""},
      {"search_samples", "role", 3, ""},
      {"search_samples", "limit", 0, "limit must be between 1 and 40."},
      {"search_samples", "limit", 40, ""},
      {"search_samples", "limit", 41, "limit must be between 1 and 40."},
      {"search_samples", "limit", -2, "limit must be a non-negative integer."},
      {"import_sample", "sampleId", "0123456789ABCDEF01234567", sample},
      {"import_sample", "sampleId", "0123456789abcdef0123456", sample},
      {"import_sample", "sampleId", std::string(25, 'a'),
       "sampleId must contain 1 to 24 characters."},
      {"import_sample", "startTime", -1, early},
      {"import_sample", "trackName", 1, "trackName must be a string."},
      {"create_midi_clip", "length", 0, clip},
      {"create_midi_clip", "length", 4096, ""},
      {"create_midi_clip", "length", 4096.5, clip},
      {"create_midi_clip", "startTime", -1, clip},
      {"create_midi_clip", "startTime", 2000000, ""},
      {"create_midi_clip", "notes", nullptr, "notes must be an array."},
      {"create_midi_clip", "notes", "c4", "notes must be an array."},
      {"create_midi_clip", "notes", {Json::object(), 1}, "notes must be an array."},
      {"create_midi_clip", "notes", Json::array(), ""},
      {"create_midi_clip", "notes", notes512, ""},
      {"create_midi_clip", "notes", notes513, manyNotes},
      {"replace_selected_midi_clip", "notes", kAbsent, someNotes},
      {"replace_selected_midi_clip", "notes", Json::array(), someNotes},
      {"replace_selected_midi_clip", "notes", {1}, someNotes},
      {"replace_selected_midi_clip", "notes", notes512, ""},
      {"replace_selected_midi_clip", "notes", notes513, someNotes},
      {"rename_track", "name", " " + std::string(96, 'x') + "\u3000", ""},
      {"rename_track", "name", std::string(97, 'x'), "name must contain 1 to 96 characters."},
      {"set_track_state", "field", "Mute", state},
      {"set_track_state", "field", "", "field must contain 1 to 96 characters."},
      {"set_track_state", "enabled", kAbsent, state},
      {"set_track_state", "enabled", 1, state},
      {"set_track_volume", "displayDb", -70, ""},
      {"set_track_volume", "displayDb", 6, ""},
      {"set_track_volume", "displayDb", 6.5, volume},
      {"set_track_volume", "displayDb", -70.5, volume},
      {"set_device_parameter", "value", "1", "value must be a number."},
      {"set_send_level", "displayDb", -70.5, send},
      {"set_send_level", "displayDb", 0.1, send}};
  for (const auto& [tool, key, value, refusal] : cases) {
    EXPECT_EQ(refusalWith(tool, key, value), refusal) << tool << " " << key;
  }
}

TEST(ArgumentRules, TheFirstBrokenRuleIsTheOneNamed) {
  const std::vector<std::tuple<std::string, Json, std::string>> cases = {
      {"create_midi_clip", {{"trackIndex", 0}, {"startTime", -1}}, "length must be a number."},
      {"start_master_listen", {{"bars", 0}, {"startTime", -1}}, "bars must be between 1 and 32."},
      {"rename_track", {{"name", ""}}, "trackIndex must be a number."},
      {"create_audio_track", {{"index", -1}}, "expectedRevision must be a number."},
      {"set_track_state",
       {{"trackIndex", 0}, {"field", "x"}},
       "field must be mute, solo or arm, and enabled must be boolean."},
      {"replace_selected_midi_clip",
       {{"trackIndex", 0}, {"expectedRevision", 1}, {"name", 1}},
       "name must be a string."}};
  for (auto [tool, arguments, refusal] : cases) {
    arguments["confirm"] = true;
    EXPECT_EQ(refusalOf(tool, arguments), refusal) << tool;
  }
}

TEST(ArgumentRules, OtherNamesAreUnknownAsTheyAreSpelled) {
  EXPECT_EQ(refusalOf("Play", {{"confirm", true}}), "Unknown Brindlevane tool: brindlevane_Play");
  EXPECT_EQ(refusalOf("play\u00e9 ", {}), "Unknown Brindlevane tool: brindlevane_play\u00e9 ");
}

}  // namespace
}  // namespace brindlevane
