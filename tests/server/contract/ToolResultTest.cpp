#include "server/BrindlevaneMCPMain.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <string>

namespace brindlevane {
namespace {

/// The structured form of the answer to a call of a tool without arguments.
Json answered(ScriptedBridge& bridge, const std::string& tool = "brindlevane_get_context") {
  const auto line = BrindlevaneMCPMain::answer(
      R"({"id":1,"method":"tools/call","params":{"name":")" + tool + "\"}}", bridge.access());
  const Json result = parseJson(line.value())->at("result");
  EXPECT_EQ(parseJson(result["content"][0]["text"].get_ref<const std::string&>()),
            result["structuredContent"]);
  return result["structuredContent"];
}

Json failure(const std::string& message) {
  return {{"error", {{"type", "MCPServerError"}, {"message", message}}}};
}

TEST(ToolResult, AMessageIsWholeThoughItHoldsANul) {
  const std::string nul(1, '\0');
  ScriptedBridge bridge;
  EXPECT_EQ(answered(bridge, R"(a\u0000b)"), failure("Unknown Brindlevane tool: a" + nul + "b"));
  bridge.answers["/v1/context"] =
      HttpAnswer{200, R"({"error":{"code":"C\u0000D","message":"no\u0000way"}})"};
  EXPECT_EQ(answered(bridge), failure("BrindlevaneBridge error C" + nul + "D: no" + nul + "way"));
  bridge.succeed("/v1/health",
                 {{"bridgeVersion", "0.1" + nul + "x"}, {"capabilities", Json::array()}});
  EXPECT_EQ(answered(bridge),
            failure("BrindlevaneBridge 0.1" + nul +
                    "x is outdated. Open Brindlevane, reinstall the Ableton bridge, save the "
                    "project and restart Ableton before using Brindlevane actions."));
}

TEST(ToolResult, HalfASurrogatePairDoesNotSpoilAContext) {
  ScriptedBridge bridge;
  bridge.answers["/v1/context"] =
      HttpAnswer{200, R"({"ok":true,"result":{"clip":"Bass \ud83d.wav"}})"};
  EXPECT_EQ(answered(bridge), Json({{"clip", "Bass \uFFFD.wav"}}));
  EXPECT_EQ(answered(bridge, R"(\udc00)"), failure("Unknown Brindlevane tool: \uFFFD"));
}

}  // namespace
}  // namespace brindlevane
