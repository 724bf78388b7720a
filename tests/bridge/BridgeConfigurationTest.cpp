#include "bridge/BridgeConfiguration.h"
#include "contract/MCPServerError.h"
#include "platform/Json.h"
#include "tests/support/ToolCalls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane {
namespace {

const std::string kToken = "0123456789abcdef0123456789abcdef";

bool isAccepted(const std::string& text) {
  try {
    (void)readConfiguration(text);
    return true;
  } catch (const MCPServerError& error) {
    EXPECT_EQ(error.kind, MCPServerError::Case::configurationInvalid);
    return false;
  }
}

TEST(BridgeConfiguration, OnlyPlainLoopbackAddressesAreAccepted) {
  const Json addresses = testData("addresses.json");
  for (const auto& [verdict, urls] : addresses.items()) {
    for (const Json& url : urls) {
      EXPECT_EQ(isAccepted(compactJson({{"bridgeUrl", url}, {"authToken", kToken}})),
                verdict == "accepted")
          << url;
    }
  }
}

TEST(BridgeConfiguration, TheTokenIsLongEnoughAndFitsInAHeader) {
  std::string accents;
  for (int i = 0; i < 31; ++i) {
    accents += "e\u0301";
  }
  const std::vector<std::pair<Json, bool>> cases = {{kToken, true},
                                                    {kToken.substr(1), false},
                                                    {kToken.substr(1) + "\u00e9", true},
                                                    {accents, false},
                                                    {accents + "!", true},
                                                    {std::string(60000, 't'), true},
                                                    {std::string(60001, 't'), false},
                                                    {kToken + "\r\nX: y", false},
                                                    {kToken + std::string(1, '\0'), false},
                                                    {kToken + "\x1f", false},
                                                    {kToken + "\x7f", false},
                                                    {kToken + "\t", false},
                                                    {" " + kToken, false},
                                                    {kToken + " ", false},
                                                    {kToken + " ~", true},
                                                    {12345, false},
                                                    {nullptr, false}};
  for (const auto& [token, expected] : cases) {
    EXPECT_EQ(
        isAccepted(compactJson({{"bridgeUrl", "http://127.0.0.1:8765"}, {"authToken", token}})),
        expected)
        << token.dump().substr(0, 80);
  }
}

TEST(BridgeConfiguration, OtherTextsAreInvalid) {
  for (const std::string text :
       {"", "{}", "[]", "null", "{", R"({"bridgeUrl":"http://127.0.0.1:8765"})",
        R"({"bridgeUrl":8765,"authToken":"0123456789abcdef0123456789abcdef"})"}) {
    EXPECT_FALSE(isAccepted(text)) << text;
  }
}

}  // namespace
}  // namespace brindlevane
