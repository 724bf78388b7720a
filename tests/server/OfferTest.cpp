#include "server/BrindlevaneMCPMain.h"
#include "tests/support/ScriptedBridge.h"
#include "tests/support/ToolCalls.h"

#include <gtest/gtest.h>

#include <string>

namespace brindlevane {
namespace {

/// What the server must offer, written down apart from the code.
const Json kOffered = testData("offered.json");

Json resultOf(const std::string& method, ScriptedBridge& bridge) {
  const auto line = BrindlevaneMCPMain::answer(
      R"({"id":1,"params":{"name":"brindlevane_get_session"},"method":")" + method + "\"}",
      bridge.access());
  return parseJson(line.value()).value().at("result");
}

// Compared as text, for 40 and 40.0 are equal numbers.
TEST(Offer, InitializeAndToolsListSayWhatWasAgreed) {
  ScriptedBridge bridge;
  EXPECT_EQ(compactJson(resultOf("initialize", bridge)), compactJson(kOffered.at("initialize")));
  const Json tools = resultOf("tools/list", bridge);
  EXPECT_EQ(tools.size(), 1U);
  ASSERT_EQ(tools.at("tools").size(), kOffered.at("tools").size());
  for (std::size_t i = 0; i < tools["tools"].size(); ++i) {
    EXPECT_EQ(compactJson(tools["tools"][i]), compactJson(kOffered["tools"][i])) << i;
  }
}

TEST(Offer, TheAgreedCapabilitiesAreNeededAndNoOthers) {
  const Json& agreed = kOffered.at("capabilities");
  ASSERT_EQ(agreed.size(), 18U);
  ScriptedBridge bridge;
  bridge.succeed("/v1/session", Json::object());
  const auto isRefused = [&](const Json& capabilities) {
    bridge.succeed("/v1/health", {{"bridgeVersion", "0.17.10"}, {"capabilities", capabilities}});
    return resultOf("tools/call", bridge).at("isError").get<bool>();
  };
  EXPECT_FALSE(isRefused(agreed));
  for (std::size_t i = 0; i < agreed.size(); ++i) {
    Json some = agreed;
    some[i] = some[i].get<std::string>() + ".old";
    EXPECT_TRUE(isRefused(some)) << agreed[i];
    some.push_back(agreed[i]);
    EXPECT_FALSE(isRefused(some)) << agreed[i];
  }
}

}  // namespace
}  // namespace brindlevane
