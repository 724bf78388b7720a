#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "server/contract/MCPServerError.h"
#include "tests/support/ScriptedBridge.h"
#include "tests/support/ToolCalls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane::BrindlevaneBridgeCompatibility {
namespace {

const std::vector<std::string>& everything() {
  static const std::vector<std::string> kEverything = testData("offered.json").at("capabilities");
  return kEverything;
}

TEST(BridgeCompatibility, VersionsAreComparedByTheirNumbers) {
  for (const char* const version :
       {"0.17.10", "0.17.11", "0.17.20", "0.17.100", "0.18", "0.20.1", "0.100", "1.0.0", "10",
        "00.17.010", "0.17.00010", "0.17.10.1", "0.17.10b", "0.17.99999999999999999999999",
        "0/17.10", "0.17.x", "v1"}) {
    EXPECT_TRUE(supports(version, everything())) << version;
  }
  for (const char* const version :
       {"0.17.9", "0.17.09", "0.17.0", "0.17.00", "0.17", "0.9.99", "0.16.11", "0.17.", "0", "",
        "0.16.99999999999999999999999", "0-17.10", "-1"}) {
    EXPECT_FALSE(supports(version, everything())) << version;
  }
}

/// The case and the message of a check that fails, nothing of one that passes.
std::optional<std::pair<MCPServerError::Case, std::string>> refusal(ScriptedBridge& bridge) {
  try {
    requireCompatibleBridge(MCPBridgeClient(bridge.access()));
    return std::nullopt;
  } catch (const MCPServerError& error) {
    return std::pair(error.kind, error.message);
  }
}

TEST(BridgeCompatibility, TheBridgeIsAskedForItsHealth) {
  using Case = MCPServerError::Case;
  ScriptedBridge bridge;
  bridge.succeed("/v1/health", {{"bridgeVersion", "0.17.10"}, {"capabilities", everything()}});
  EXPECT_EQ(refusal(bridge), std::nullopt);
  EXPECT_EQ(bridge.requests.at(0).method, "GET");
  EXPECT_EQ(bridge.requests.at(0).target, "/v1/health");
  EXPECT_EQ(bridge.requests.at(0).body, "");
  EXPECT_EQ(bridge.timeouts.at(0), Seconds(6));
  bridge.succeed("/v1/health", {{"bridgeVersion", "0.17.9"}, {"capabilities", everything()}});
  EXPECT_EQ(refusal(bridge),
            std::pair(Case::bridgeIncompatible,
                      std::string("BrindlevaneBridge 0.17.9 is outdated. Open Brindlevane, "
                                  "reinstall the Ableton bridge, save the project and restart "
                                  "Ableton before using Brindlevane actions.")));
  bridge.succeed("/v1/health", {{"bridgeVersion", "0.17.9"}});
  EXPECT_EQ(refusal(bridge), std::pair(Case::invalidBridgeResponse, std::string()));
}

}  // namespace
}  // namespace brindlevane::BrindlevaneBridgeCompatibility
