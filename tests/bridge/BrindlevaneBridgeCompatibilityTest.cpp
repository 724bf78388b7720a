#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "server/contract/MCPServerError.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane::BrindlevaneBridgeCompatibility {
namespace {

const std::vector<std::string> kEverything = {
    "project.analyze",        "mix_prep.analyze",        "context.live",
    "key.source.audio",       "key.source.midi",         "tracks.create.midi",
    "clips.create.midi",      "clips.notes.replace",     "clips.notes.evolve",
    "arrangement.build.club", "arrangement.build.undo",  "samples.library.search",
    "samples.library.import", "devices.parameters.read", "devices.parameters.write",
    "tracks.sends.write",     "tracks.semantic_rename",  "clips.color.sync"};

TEST(BridgeCompatibility, VersionsAreComparedByTheirNumbers) {
  const std::vector<std::pair<std::string, bool>> cases = {{"0.17.10", true},
                                                           {"0.17.11", true},
                                                           {"0.17.20", true},
                                                           {"0.17.100", true},
                                                           {"0.18", true},
                                                           {"0.20.1", true},
                                                           {"0.100", true},
                                                           {"1.0.0", true},
                                                           {"10", true},
                                                           {"00.17.010", true},
                                                           {"0.17.00010", true},
                                                           {"0.17.10.1", true},
                                                           {"0.17.10b", true},
                                                           {"0.17.9", false},
                                                           {"0.17.09", false},
                                                           {"0.17.0", false},
                                                           {"0.17.00", false},
                                                           {"0.17", false},
                                                           {"0.9.99", false},
                                                           {"0.16.11", false},
                                                           {"0.17.", false},
                                                           {"0", false},
                                                           {"", false},
                                                           {"0.16.99999999999999999999999", false},
                                                           {"0.17.99999999999999999999999", true},
                                                           {"0/17.10", true},
                                                           {"0-17.10", false},
                                                           {"0.17.x", true},
                                                           {"v1", true},
                                                           {"-1", false}};
  for (const auto& [version, expected] : cases) {
    EXPECT_EQ(supports(version, kEverything), expected) << version;
  }
}

TEST(BridgeCompatibility, EveryCapabilityIsNeeded) {
  EXPECT_TRUE(supports("0.17.10", kEverything));
  for (std::size_t missing = 0; missing < kEverything.size(); ++missing) {
    auto offered = kEverything;
    offered[missing] += ".old";
    offered.emplace_back("more.than.needed");
    EXPECT_FALSE(supports("9.0", offered)) << kEverything[missing];
    offered.push_back(kEverything[missing]);
    EXPECT_TRUE(supports("9.0", offered)) << kEverything[missing];
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
  bridge.succeed("/v1/health", {{"bridgeVersion", "0.17.10"}, {"capabilities", kEverything}});
  EXPECT_EQ(refusal(bridge), std::nullopt);
  EXPECT_EQ(bridge.requests.at(0).method, "GET");
  EXPECT_EQ(bridge.requests.at(0).target, "/v1/health");
  EXPECT_EQ(bridge.requests.at(0).body, "");
  EXPECT_EQ(bridge.timeouts.at(0), Seconds(6));
  bridge.succeed("/v1/health", {{"bridgeVersion", "0.17.9"}, {"capabilities", kEverything}});
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
