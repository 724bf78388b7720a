#include "bridge/RouteTable.h"
#include "server/CallTool.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane {
namespace {

/// The message of a failed call.
std::string refusal(const ToolResult& result) {
  EXPECT_TRUE(result.isError);
  EXPECT_EQ(result.structuredContent.at("error").at("type"), "MCPServerError");
  return result.structuredContent.at("error").at("message");
}

TEST(CallTool, EachToolSendsItsOneRequest) {
  // tool, arguments, request, body, seconds
  const std::vector<std::tuple<std::string, std::string, std::string, std::string, int>> cases = {
      {"get_session", "{}", "GET /v1/session", "", 6},
      {"get_context", "{}", "GET /v1/context", "", 10},
      {"analyze_project", "{}", "GET /v1/analysis/project", "", 6},
      {"analyze_mix_preparation", "{}", "GET /v1/analysis/mix-prep", "", 6},
      {"get_device_parameters", R"({"trackIndex":1.0,"deviceIndex":2,"x":3})",
       "POST /v1/devices/parameters/read", R"({"deviceIndex":2,"trackIndex":1})", 6},
      {"start_master_listen", R"({"bars":8,"startTime":1.5,"expectedRevision":4,"confirm":true})",
       "POST /v1/master-capture/start",
       R"({"bars":8,"confirm":true,"expectedRevision":4,"startTime":1.5})", 6},
      {"cancel_master_listen",
       R"({"jobId":" master_0123456789abcdef0123456789abcdef ","confirm":true})",
       "POST /v1/master-capture/cancel",
       R"({"confirm":true,"jobId":"master_0123456789abcdef0123456789abcdef"})", 6},
      {"play", R"({"confirm":true})", "POST /v1/transport/play", "{}", 6},
      {"stop", R"({"confirm":true})", "POST /v1/transport/stop", "{}", 6},
      {"set_tempo", R"({"tempo":128,"expectedRevision":4,"confirm":true})", "POST /v1/tempo",
       R"({"expectedRevision":4,"tempo":128.0})", 6},
      {"organize_tracks", R"({"expectedRevision":9007199254740993,"confirm":true})",
       "POST /v1/workflows/organize", R"({"confirm":true,"expectedRevision":9007199254740993})", 6},
      {"build_arrangement", R"({"expectedRevision":4,"confirm":true})",
       "POST /v1/arrangement/build", R"({"confirm":true,"expectedRevision":4})", 20},
      {"create_midi_track", R"({"expectedRevision":4,"confirm":true,"name":" A ","index":2.0})",
       "POST /v1/tracks/create",
       R"({"confirm":true,"expectedRevision":4,"index":2.0,"kind":"midi","name":" A "})", 6},
      {"create_audio_track", R"({"expectedRevision":4,"confirm":true})", "POST /v1/tracks/create",
       R"({"confirm":true,"expectedRevision":4,"kind":"audio"})", 6},
      {"search_samples", "{}", "POST /v1/samples/search", "{}", 20},
      {"search_samples", R"({"query":" kick ","role":3,"limit":5,"page":2})",
       "POST /v1/samples/search", R"({"limit":5,"query":" kick ","role":3})", 20},
      {"import_sample",
       R"({"sampleId":" 0123456789abcdef01234567 ","startTime":0,"expectedRevision":4,)"
       R"("confirm":true,"trackName":" T"})",
       "POST /v1/samples/import",
       R"({"confirm":true,"expectedRevision":4,"sampleId":"0123456789abcdef01234567",)"
       R"("startTime":0,"trackName":" T"})",
       20},
      {"create_midi_clip",
       R"({"trackIndex":0,"startTime":0,"length":4.0,"expectedRevision":4,"confirm":true,)"
       R"("notes":[{"pitch":"any"}]})",
       "POST /v1/clips/midi",
       R"({"confirm":true,"expectedRevision":4,"length":4.0,"notes":[{"pitch":"any"}],)"
       R"("startTime":0,"trackIndex":0})",
       10},
      {"replace_selected_midi_clip",
       R"({"trackIndex":0,"notes":[{}],"expectedRevision":4,"confirm":true,"name":"N"})",
       "POST /v1/clips/midi/replace",
       R"({"confirm":true,"expectedRevision":4,"name":"N","notes":[{}],"trackIndex":0})", 10},
      {"rename_track", R"({"trackIndex":0,"name":" Basse ","expectedRevision":4,"confirm":true})",
       "POST /v1/tracks/rename",
       R"({"confirm":true,"expectedRevision":4,"name":"Basse","trackIndex":0})", 6},
      {"select_track", R"({"trackIndex":0,"expectedRevision":4,"confirm":true})",
       "POST /v1/tracks/select", R"({"confirm":true,"expectedRevision":4,"trackIndex":0})", 6},
      {"set_track_state",
       R"({"trackIndex":0,"field":" arm ","enabled":false,"expectedRevision":4,"confirm":true})",
       "POST /v1/tracks/state",
       R"({"confirm":true,"enabled":false,"expectedRevision":4,"field":"arm","trackIndex":0})", 6},
      {"set_track_volume",
       R"({"trackIndex":3,"displayDb":-6.5,"expectedRevision":42,"confirm":true})",
       "POST /v1/tracks/volume",
       R"({"confirm":true,"displayDb":-6.5,"expectedRevision":42,"trackIndex":3})", 6},
      {"set_device_parameter",
       R"({"trackIndex":0,"deviceIndex":1,"parameterIndex":2,"value":3,"expectedRevision":4,)"
       R"("confirm":true})",
       "POST /v1/devices/parameters",
       R"({"confirm":true,"deviceIndex":1,"expectedRevision":4,"parameterIndex":2,)"
       R"("trackIndex":0,"value":3})",
       6},
      {"set_send_level",
       R"({"trackIndex":0,"sendIndex":1,"displayDb":-12,"expectedRevision":4,"confirm":true})",
       "POST /v1/tracks/send",
       R"({"confirm":true,"displayDb":-12,"expectedRevision":4,"sendIndex":1,"trackIndex":0})", 6},
      {"undo_last_organization", R"({"confirm":true})", "POST /v1/undo", "{}", 6}};
  for (const auto& [tool, arguments, sent, body, seconds] : cases) {
    SCOPED_TRACE(tool);
    ScriptedBridge bridge;
    bridge.succeed(sent.substr(sent.find('/')), {{"done", tool}});
    const ToolResult result =
        callTool("brindlevane_" + tool, *parseJson(arguments), bridge.access());
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(result.structuredContent, Json({{"done", tool}}));
    ASSERT_EQ(bridge.requests.size(), 2U);
    EXPECT_EQ(bridge.requests[0].method + " " + bridge.requests[0].target, "GET /v1/health");
    EXPECT_EQ(bridge.timeouts[0], Seconds(6));
    EXPECT_EQ(bridge.requests[1].method + " " + bridge.requests[1].target, sent);
    EXPECT_EQ(bridge.requests[1].body, body);
    EXPECT_EQ(bridge.timeouts[1], Seconds(seconds));
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
