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

bool isAccepted(const Json& url, const Json& token) {
  return isAccepted(compactJson({{"bridgeUrl", url}, {"authToken", token}}));
}

TEST(BridgeConfiguration, OnlyPlainLoopbackAddressesAreAccepted) {
  const Json addresses = testData("addresses.json");
  for (const auto& [verdict, urls] : addresses.items()) {
    for (const Json& url : urls) {
      EXPECT_EQ(isAccepted(url, kToken), verdict == "accepted") << url;
    }
  }
}

TEST(BridgeConfiguration, TheTokenIsLongEnoughAndFitsInAHeader) {
  std::string accents;
  for (int i = 0; i < 31; ++i) {
    accents += "e\u0301";
  }
  const std::string shorter = kToken.substr(1);
  for (const std::string& token :
       {kToken, shorter + "\u00e9", accents + "!", std::string(60000, 't'), kToken + " ~"}) {
    EXPECT_TRUE(isAccepted("http://127.0.0.1:8765", token)) << token.substr(0, 80);
  }
  for (const Json& token :
       std::vector<Json>{shorter, accents, std::string(60001, 't'), kToken + std::string(1, '\0'),
                         kToken + "\x1f", kToken + "\x7f", kToken + "\r\nX: y", " " + kToken,
                         kToken + " ", 12345}) {
    EXPECT_FALSE(isAccepted("http://127.0.0.1:8765", token)) << token.dump().substr(0, 80);
  }
}

TEST(BridgeConfiguration, OtherTextsAreInvalid) {
  for (const std::string text :
       {"", "[]", "{", R"({"bridgeUrl":"http://127.0.0.1:8765"})",
        R"({"bridgeUrl":8765,"authToken":"0123456789abcdef0123456789abcdef"})"}) {
    EXPECT_FALSE(isAccepted(text)) << text;
  }
}

}  // namespace
}  // namespace brindlevane
