#include "server/CallTool.h"
#include "tests/support/ScriptedBridge.h"
#include "tests/support/ToolCalls.h"
#include "tools/Catalogue.h"

#include <gtest/gtest.h>

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

/// Makes a call and looks at the one request that it sends behind the look at the bridge's health.
void expectSent(const std::string& tool, const Json& arguments, const Json& known,
                const std::string& body) {
  SCOPED_TRACE(tool + arguments.dump());
  const auto sent = known.at("request").get<std::string>();
  ScriptedBridge bridge;
  bridge.succeed(sent.substr(sent.find('/')), {{"done", tool}});
  const ToolResult result = callTool("brindlevane_" + tool, arguments, bridge.access());
  EXPECT_FALSE(result.isError);
  EXPECT_EQ(result.structuredContent, Json({{"done", tool}}));
  std::vector<std::string> requests;
  for (const HttpRequest& request : bridge.requests) {
    requests.push_back(request.method + " " + request.target + " " + request.body);
  }
  EXPECT_EQ(requests, (std::vector<std::string>{"GET /v1/health ", sent + " " + body}));
  EXPECT_EQ(bridge.timeouts, (std::vector{Seconds(6), Seconds(known.at("seconds").get<int>())}));
}

TEST(CallTool, EachToolSendsItsOneRequest) {
  for (const auto& [tool, known] : toolCalls().items()) {
    if (!known.contains("request")) {
      continue;
    }
    const bool hasBody = known.contains("body");
    Json arguments = known.at("arguments");
    Json body = known.value("body", Json());
    expectSent(tool, arguments, known, hasBody ? compactJson(body) : "");
    for (const Json& key : known.value("optional", Json::array())) {
      EXPECT_EQ(arguments.erase(key.get<std::string>()) + body.erase(key.get<std::string>()), 2U);
    }
    expectSent(tool, arguments, known, hasBody ? compactJson(body) : "");
  }
}

TEST(CallTool, NumbersAndWhatIsNotCheckedAreSentAsReceived) {
  // tool, arguments that differ from the complete call, what is not sent as it was received
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"start_master_listen", R"({"bars":8.0,"other":1})", R"({"bars":8,"other":null})"},
      {"import_sample", R"({"startTime":0.25})", "{}"},
      {"create_midi_clip", R"({"length":4,"startTime":1e3,"notes":[{"pitch":"any","x":[]}]})",
       "{}"},
      {"set_track_volume", R"({"displayDb":-6})", "{}"},
      {"set_send_level", R"({"displayDb":-0.5})", "{}"},
      {"set_device_parameter", R"({"value":0.5})", "{}"},
      {"search_samples", R"({"role":3,"limit":2.0})", "{}"},
      {"select_track", R"({"expectedRevision":9007199254740993,"trackIndex":3.0})",
       R"({"trackIndex":3})"}};
  for (const auto& [tool, given, changed] : cases) {
    const BrindlevaneMCP::Tool& row = BrindlevaneMCP::toolNamed("brindlevane_" + tool);
    Json arguments = toolCalls().at(tool).at("arguments");
    Json expected = *requestBody(row, arguments);
    arguments.update(*parseJson(given));
    expected.merge_patch(*parseJson(given));
    expected.merge_patch(*parseJson(changed));
    EXPECT_EQ(compactJson(*requestBody(row, arguments)), compactJson(expected));
  }
}

TEST(CallTool, AResultThatIsNoObjectIsWrapped) {
  for (const char* value : {"[1,2]", "null", "\"text\"", "0.5", "false"}) {
    ScriptedBridge bridge;
    bridge.succeed("/v1/context", *parseJson(value));
    const ToolResult result = callTool("brindlevane_get_context", Json::object(), bridge.access());
    EXPECT_EQ(compactJson(result.structuredContent), std::string("{\"value\":") + value + "}");
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
      {{{"bridgeVersion", "0.17.10"}, {"capabilities", mixed}}, invalid},
      {{{"bridgeVersion", "0.17.10"}, {"capabilities", "all"}}, invalid},
      {{{"bridgeVersion", "0.17.10"}}, invalid},
      {{{"bridgeVersion", 17}, {"capabilities", all}}, invalid},
      {nullptr, invalid}};
  for (const auto& [health, expected] : cases) {
    ScriptedBridge bridge;
    bridge.succeed("/v1/health", health);
    EXPECT_EQ(refusal(callTool("brindlevane_find_key", Json::object(), bridge.access())), expected)
        << health;
    EXPECT_EQ(bridge.requests.size(), 1U);
  }
}

TEST(CallTool, ArgumentsAreJudgedBeforeTheBridgeIsLookedFor) {
  ScriptedBridge bridge;
  bridge.configuration.reset();
  EXPECT_EQ(refusal(callTool("brindlevane_find_keys", Json::object(), bridge.access())),
            "Unknown Brindlevane tool: brindlevane_find_keys");
  EXPECT_EQ(refusal(callTool("brindlevane_find_key", {{"a", 1}}, bridge.access())),
            "This tool does not accept arguments.");
  EXPECT_EQ(refusal(callTool("brindlevane_find_key", Json::object(), bridge.access())),
            "BrindlevaneBridge is not installed. Open Brindlevane and install the Ableton bridge "
            "first.");
  EXPECT_TRUE(bridge.requests.empty());
}

}  // namespace
}  // namespace brindlevane
