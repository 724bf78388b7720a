#include "server/CallTool.h"
#include "tests/support/ScriptedBridge.h"
#include "tests/support/ToolCalls.h"
#include "tools/ToolCall.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace brindlevane {
namespace {

/// The message of a failed call.
std::string refusal(const ToolResult& result) {
  EXPECT_TRUE(result.isError);
  EXPECT_EQ(result.structuredContent.at("error").at("type"), "MCPServerError");
  return result.structuredContent.at("error").at("message");
}

/// One tool's request: what it is sent for, and how.
struct Sent {
  std::string tool;
  std::string request;
  std::string body;  ///< for a complete call
  int seconds;
};

void expectSent(const Sent& expected, const Json& arguments, const std::string& body) {
  SCOPED_TRACE(expected.tool + arguments.dump());
  ScriptedBridge bridge;
  bridge.succeed(expected.request.substr(expected.request.find('/')), {{"done", expected.tool}});
  const ToolResult result = callTool("brindlevane_" + expected.tool, arguments, bridge.access());
  EXPECT_FALSE(result.isError);
  EXPECT_EQ(result.structuredContent, Json({{"done", expected.tool}}));
  ASSERT_EQ(bridge.requests.size(), 2U);
  EXPECT_EQ(bridge.requests[0].method + " " + bridge.requests[0].target, "GET /v1/health");
  EXPECT_EQ(bridge.requests[0].body, "");
  EXPECT_EQ(bridge.timeouts[0], Seconds(6));
  EXPECT_EQ(bridge.requests[1].method + " " + bridge.requests[1].target, expected.request);
  EXPECT_EQ(bridge.requests[1].body, body);
  EXPECT_EQ(bridge.timeouts[1], Seconds(expected.seconds));
}

TEST(CallTool, EachToolSendsItsOneRequest) {
  const std::vector<Sent> cases = {
      {"get_session", "GET /v1/session", "", 6},
      {"get_context", "GET /v1/context", "", 10},
      {"analyze_project", "GET /v1/analysis/project", "", 6},
      {"analyze_mix_preparation", "GET /v1/analysis/mix-prep", "", 6},
      {"get_device_parameters", "POST /v1/devices/parameters/read",
       R"({"deviceIndex":2,"trackIndex":1})", 6},
      {"start_master_listen", "POST /v1/master-capture/start",
       R"({"bars":8,"confirm":true,"expectedRevision":42,"startTime":1.5})", 6},
      {"cancel_master_listen", "POST /v1/master-capture/cancel",
       R"({"confirm":true,"jobId":"master_0123456789abcdef0123456789abcdef"})", 6},
      {"play", "POST /v1/transport/play", "{}", 6},
      {"stop", "POST /v1/transport/stop", "{}", 6},
      {"set_tempo", "POST /v1/tempo", R"({"expectedRevision":42,"tempo":128.0})", 6},
      {"organize_tracks", "POST /v1/workflows/organize",
       R"({"confirm":true,"expectedRevision":42})", 6},
      {"build_arrangement", "POST /v1/arrangement/build",
       R"({"confirm":true,"expectedRevision":42})", 20},
      {"create_midi_track", "POST /v1/tracks/create",
       R"({"confirm":true,"expectedRevision":42,"index":2.0,"kind":"midi","name":" A "})", 6},
      {"create_audio_track", "POST /v1/tracks/create",
       R"({"confirm":true,"expectedRevision":42,"index":3,"kind":"audio","name":"B"})", 6},
      {"search_samples", "POST /v1/samples/search", R"({"limit":5,"query":" kick ","role":"fx"})",
       20},
      {"import_sample", "POST /v1/samples/import",
       R"({"confirm":true,"expectedRevision":42,"sampleId":"0123456789abcdef01234567",)"
       R"("startTime":0,"trackName":" T"})",
       20},
      {"create_midi_clip", "POST /v1/clips/midi",
       R"({"confirm":true,"expectedRevision":42,"length":4.0,"name":"N ",)"
       R"("notes":[{"duration":1,"pitch":60,"startTime":0}],"startTime":0,"trackIndex":0})",
       10},
      {"replace_selected_midi_clip", "POST /v1/clips/midi/replace",
       R"({"confirm":true,"expectedRevision":42,"name":"N",)"
       R"("notes":[{"duration":1,"pitch":60,"startTime":0}],"trackIndex":7})",
       10},
      {"rename_track", "POST /v1/tracks/rename",
       R"({"confirm":true,"expectedRevision":42,"name":"Basse","trackIndex":0})", 6},
      {"select_track", "POST /v1/tracks/select",
       R"({"confirm":true,"expectedRevision":42,"trackIndex":5})", 6},
      {"set_track_state", "POST /v1/tracks/state",
       R"({"confirm":true,"enabled":false,"expectedRevision":42,"field":"arm","trackIndex":6})", 6},
      {"set_track_volume", "POST /v1/tracks/volume",
       R"({"confirm":true,"displayDb":-6.5,"expectedRevision":42,"trackIndex":3})", 6},
      {"set_device_parameter", "POST /v1/devices/parameters",
       R"({"confirm":true,"deviceIndex":1,"expectedRevision":42,"parameterIndex":2,)"
       R"("trackIndex":4,"value":3})",
       6},
      {"set_send_level", "POST /v1/tracks/send",
       R"({"confirm":true,"displayDb":-12,"expectedRevision":42,"sendIndex":1,"trackIndex":8})", 6},
      {"undo_last_organization", "POST /v1/undo", "{}", 6}};
  const std::map<std::string, std::vector<std::string>> optional = {
      {"create_midi_track", {"index", "name"}},       {"create_audio_track", {"index", "name"}},
      {"search_samples", {"query", "role", "limit"}}, {"import_sample", {"trackName"}},
      {"create_midi_clip", {"name", "notes"}},        {"replace_selected_midi_clip", {"name"}}};
  for (const Sent& sent : cases) {
    Json arguments = completeCalls().at(sent.tool);
    expectSent(sent, arguments, sent.body);
    if (const auto found = optional.find(sent.tool); found != optional.end()) {
      Json body = *parseJson(sent.body);
      for (const std::string& key : found->second) {
        EXPECT_EQ(arguments.erase(key) + body.erase(key), 2U) << sent.tool << " " << key;
      }
      expectSent(sent, arguments, compactJson(body));
    }
  }
}

TEST(CallTool, NumbersAndWhatIsNotCheckedAreSentAsReceived) {
  // tool, arguments that differ from the complete call, as they are sent
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"start_master_listen", R"({"bars":8.0,"startTime":2,"other":1})",
       R"({"bars":8,"startTime":2})"},
      {"import_sample", R"({"startTime":0.25})", R"({"startTime":0.25})"},
      {"create_midi_clip", R"({"length":4,"startTime":1e3,"notes":[{"pitch":"any","x":[]}]})",
       R"({"length":4,"startTime":1000.0,"notes":[{"pitch":"any","x":[]}]})"},
      {"set_tempo", R"({"tempo":127.5})", R"({"tempo":127.5})"},
      {"set_track_volume", R"({"displayDb":-6})", R"({"displayDb":-6})"},
      {"set_send_level", R"({"displayDb":-0.5})", R"({"displayDb":-0.5})"},
      {"set_device_parameter", R"({"value":0.5})", R"({"value":0.5})"},
      {"search_samples", R"({"role":3,"limit":2.0})", R"({"role":3,"limit":2.0})"},
      {"select_track", R"({"expectedRevision":9007199254740993,"trackIndex":3.0})",
       R"({"expectedRevision":9007199254740993,"trackIndex":3})"}};
  for (const auto& [tool, given, sent] : cases) {
    const BrindlevaneMCP::Tool& row = BrindlevaneMCP::toolNamed("brindlevane_" + tool);
    Json arguments = completeCalls().at(tool);
    Json expected = *requestBody(row, arguments);
    arguments.update(*parseJson(given));
    expected.update(*parseJson(sent));
    EXPECT_EQ(compactJson(*requestBody(row, arguments)), compactJson(expected));
  }
}

TEST(CallTool, AResultThatIsNoObjectIsWrapped) {
  for (const char* value : {"[1,2]", "null", "\"text\"", "0.5", "false"}) {
    ScriptedBridge bridge;
    bridge.succeed("/v1/context", *parseJson(value));
    std::string line;
    appendToolResult(line, callTool("brindlevane_get_context", Json::object(), bridge.access()));
    const Json result = *parseJson(line);
    EXPECT_EQ(compactJson(result.at("structuredContent")),
              std::string("{\"value\":") + value + "}");
    EXPECT_EQ(parseJson(result["content"][0]["text"].get<std::string>()),
              result["structuredContent"]);
    EXPECT_EQ(result["content"].size(), 1U);
    EXPECT_EQ(result.size(), 3U);
  }
}

TEST(CallTool, AnUnusableBridgeIsNotAskedToWork) {
  const std::string invalid = "BrindlevaneBridge returned an invalid response.";
  const std::string outdated =
      " is outdated. Open Brindlevane, reinstall the Ableton bridge, save the project and restart "
      "Ableton before using Brindlevane actions.";
  const Json all = BrindlevaneBridgeCompatibility::requiredCapabilities();
  Json some = all;
  some.erase(some.begin());
  Json mixed = all;
  mixed.push_back(1);
  const std::vector<std::pair<Json, std::string>> cases = {
      {{{"bridgeVersion", "0.17.9"}, {"capabilities", all}}, "BrindlevaneBridge 0.17.9" + outdated},
      {{{"bridgeVersion", "9.9"}, {"capabilities", some}}, "BrindlevaneBridge 9.9" + outdated},
      {{{"bridgeVersion", "0.17.10"}, {"capabilities", Json::array()}},
       "BrindlevaneBridge 0.17.10" + outdated},
      {{{"bridgeVersion", "0.17.10"}, {"capabilities", mixed}}, invalid},
      {{{"bridgeVersion", "0.17.10"}, {"capabilities", "all"}}, invalid},
      {{{"bridgeVersion", "0.17.10"}}, invalid},
      {{{"bridgeVersion", 17}, {"capabilities", all}}, invalid},
      {{{"capabilities", Json::array()}}, invalid},
      {Json::array(), invalid},
      {nullptr, invalid}};
  for (const auto& [health, expected] : cases) {
    ScriptedBridge bridge;
    bridge.succeed("/v1/health", health);
    for (const char* tool : {"brindlevane_get_session", "brindlevane_find_key"}) {
      EXPECT_EQ(refusal(callTool(tool, Json::object(), bridge.access())), expected) << health;
    }
    EXPECT_EQ(bridge.requests.size(), 2U);
  }
}

TEST(CallTool, ArgumentsAreJudgedBeforeTheBridgeIsLookedFor) {
  ScriptedBridge bridge;
  bridge.configuration.reset();
  EXPECT_EQ(refusal(callTool("brindlevane_nothing", Json::object(), bridge.access())),
            "Unknown Brindlevane tool: brindlevane_nothing");
  EXPECT_EQ(refusal(callTool("brindlevane_find_key", {{"a", 1}}, bridge.access())),
            "This tool does not accept arguments.");
  EXPECT_EQ(refusal(callTool("brindlevane_find_key", Json::object(), bridge.access())),
            "BrindlevaneBridge is not installed. Open Brindlevane and install the Ableton bridge "
            "first.");
  EXPECT_TRUE(bridge.requests.empty());
}

}  // namespace
}  // namespace brindlevane
