#include "bridge/BrindlevaneBridgeCompatibility.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane::BrindlevaneBridgeCompatibility {
namespace {

std::vector<std::string> everything() {
  return {requiredCapabilities().begin(), requiredCapabilities().end()};
}

TEST(BridgeCompatibility, VersionsAreComparedByTheirNumbers) {
  const std::vector<std::pair<std::string, bool>> cases = {{"0.17.10", true},
                                                           {"0.17.11", true},
                                                           {"0.17.100", true},
                                                           {"0.18", true},
                                                           {"1.0.0", true},
                                                           {"00.17.010", true},
                                                           {"0.17.10.1", true},
                                                           {"0.17.10b", true},
                                                           {"0.17.9", false},
                                                           {"0.17", false},
                                                           {"0.9.99", false},
                                                           {"0.17.", false},
                                                           {"", false},
                                                           {"0.16.99999999999999999999999", false},
                                                           {"0.17.99999999999999999999999", true},
                                                           {"v1", true},
                                                           {"-1", false}};
  for (const auto& [version, expected] : cases) {
    EXPECT_EQ(supports(version, everything()), expected) << version;
  }
}

TEST(BridgeCompatibility, EveryCapabilityIsNeeded) {
  EXPECT_EQ(everything().size(), 18U);
  for (std::size_t missing = 0; missing < 18; ++missing) {
    auto offered = everything();
    offered[missing] += ".old";
    offered.push_back("more.than.needed");
    EXPECT_FALSE(supports("9.0", offered));
    offered.push_back(everything()[missing]);
    EXPECT_TRUE(supports("9.0", offered));
  }
}

}  // namespace
}  // namespace brindlevane::BrindlevaneBridgeCompatibility
