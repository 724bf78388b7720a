#include "contract/ToolResult.h"
#include "server/BrindlevaneMCPMain.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

const std::string kInvalidResponse = "BrindlevaneBridge returned an invalid response.";

/// The structured form of the answer to a call of a tool without arguments.
Json answered(ScriptedBridge& bridge, const std::string& tool = "brindlevane_get_context") {
  const auto line = BrindlevaneMCPMain::answer(
      R"({"id":1,"method":"tools/call","params":{"name":")" + tool + "\"}}", bridge.access());
  const Json result = parseJson(line.value())->at("result");
  EXPECT_EQ(result.size(), 3U);
  EXPECT_EQ(result["content"].size(), 1U);
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

TEST(ToolResult, AnAnswerIsAsLongAsItMayBeAndNoLonger) {
  const std::vector<Json> values = {
      Json::object(),
      {{"a", 1}},
      {{"a", Json::array()}, {"b", Json::object()}, {"c", {1, {2, 3}, {{"d", nullptr}}}}},
      {{"k\"\\\n", "\"\\\b\f\n\r\t\x01/\x7f\u00e9"}, {"n", {1.5, -3, 1e300, true}}}};
  for (const Json& value : values) {
    const auto printed = [&value](std::size_t longest) {
      std::string line = "x";
      appendToolResult(line, {value, false}, longest);
      return line.substr(1);
    };
    const std::string whole = printed(kLongestToolResult);
    const Json text = (*parseJson(whole))["content"][0]["text"];
    EXPECT_EQ(parseJson(text.get_ref<const std::string&>()), value);
    EXPECT_EQ(printed(whole.size()), whole);
    const Json refusal = *parseJson(printed(whole.size() - 1));
    EXPECT_EQ(refusal.at("structuredContent"), failure(kInvalidResponse));
    EXPECT_EQ(refusal.at("isError"), true);
  }
}

TEST(ToolResult, AnAnswerThatWouldExplodeIsRefusedAtOnce) {
  // 1 MiB of arrays, 505 deep, which would take 509 MiB with its indentation.
  const std::string element = std::string(",") + std::string(504, '[') + std::string(504, ']');
  std::string answer = R"({"ok":true,"result":[0)";
  while (answer.size() < (std::size_t{1} << 20U)) {
    answer += element;
  }
  ScriptedBridge bridge;
  const Json large = {{"a", std::string(std::size_t{60} << 20U, 'x')}};
  bridge.succeed("/v1/context", large);
  EXPECT_TRUE(answered(bridge) == large);
  bridge.answers["/v1/context"] = HttpAnswer{200, answer + "]}"};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(answered(bridge), failure(kInvalidResponse));
  // To print the line would take seconds.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace brindlevane
