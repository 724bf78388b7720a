#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "tests/support/ToolCalls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane::BrindlevaneBridgeCompatibility {
namespace {

TEST(BridgeCompatibility, VersionsAreComparedByTheirNumbers) {
  const std::vector<std::string> everything = testData("offered.json").at("capabilities");
  for (const char* const version :
       {"0.17.20", "0.17.100", "0.18", "0.20.1", "0.100", "1.0.0", "10", "00.17.010", "0.17.00010",
        "0.17.10.1", "0.17.10b", "0.17.99999999999999999999999", "0/17.10", "0.17.x", "v1"}) {
    EXPECT_TRUE(supports(version, everything)) << version;
  }
  for (char digit = '0'; digit <= '9'; ++digit) {
    EXPECT_TRUE(supports(std::string("0.17.1") + digit, everything)) << digit;
  }
  for (const char* const version :
       {"0.17.9", "0.17.09", "0.17.0", "0.17.00", "0.17", "0.9.99", "0.16.11", "0.17.", "0", "",
        "0.16.99999999999999999999999", "0-17.10", "-1"}) {
    EXPECT_FALSE(supports(version, everything)) << version;
  }
}

}  // namespace
}  // namespace brindlevane::BrindlevaneBridgeCompatibility
