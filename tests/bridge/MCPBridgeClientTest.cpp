#include "bridge/MCPBridgeClient.h"
#include "server/contract/MCPServerError.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <vector>

namespace brindlevane {
namespace {

/// What a request comes to: the result as JSON, or the text of the error.
std::string outcomeOf(ScriptedBridge& bridge, const std::string& path = "/v1/x") {
  try {
    return compactJson(
        MCPBridgeClient(bridge.access()).request(path, "GET", std::nullopt, Seconds(6)));
  } catch (const MCPServerError& error) {
    return error.what();
  }
}

TEST(MCPBridgeClient, TheEnvelopeDecides) {
  const std::string invalid = "BrindlevaneBridge returned an invalid response.";
  const std::vector<std::tuple<unsigned, std::string, std::string>> cases = {
      {200, R"({"ok":true,"result":{"a":[1,2.0]}})", R"({"a":[1,2.0]})"},
      {200, R"({"ok":true,"result":null,"error":{"code":"X"}})", "null"},
      {399, R"({"ok":true,"result":18446744073709551615})", "18446744073709551615"},
      {0, R"({"ok":true,"result":false})", "false"},
      {200, R"({"ok":true})", invalid},
      {200, "", invalid},
      {500, "<html>", invalid},
      {200, R"([{"ok":true,"result":1}])", invalid},
      {200, std::string(600, '['), invalid},
      {400, R"({"ok":true,"result":1})",
       "BrindlevaneBridge error HTTP_400: The request was rejected."},
      {404, "{}", "BrindlevaneBridge error HTTP_404: The request was rejected."},
      {200, R"({"ok":false})", "BrindlevaneBridge error HTTP_200: The request was rejected."},
      {200, R"({"ok":1,"result":1})",
       "BrindlevaneBridge error HTTP_200: The request was rejected."},
      {500, R"({"ok":false,"error":{"code":"LIVE_BUSY","message":"Busy"}})",
       "BrindlevaneBridge error LIVE_BUSY: Busy"},
      {409, R"({"error":{"code":7,"message":"Old"}})", "BrindlevaneBridge error HTTP_409: Old"},
      {409, R"({"error":{"code":"OLD","message":null}})",
       "BrindlevaneBridge error OLD: The request was rejected."},
      {409, R"({"error":"OLD"})", "BrindlevaneBridge error HTTP_409: The request was rejected."}};
  for (const auto& [status, body, expected] : cases) {
    ScriptedBridge bridge;
    bridge.answers["/v1/x"] = HttpAnswer{status, body};
    EXPECT_EQ(outcomeOf(bridge), expected) << status << body;
  }
}

TEST(MCPBridgeClient, FailuresOfTheLinkSayWhatToDo) {
  ScriptedBridge bridge;
  EXPECT_EQ(outcomeOf(bridge),
            "Ableton Live is not connected to BrindlevaneBridge. Open Ableton and wait a few "
            "seconds.");
  bridge.answers["/v1/x"] = HttpFailure::bodyTooLong;
  EXPECT_EQ(outcomeOf(bridge), "BrindlevaneBridge returned an invalid response.");
  bridge.configuration = "{}";
  EXPECT_EQ(outcomeOf(bridge),
            "The local BrindlevaneBridge configuration is invalid. Reinstall the bridge from "
            "Brindlevane.");
  bridge.configuration.reset();
  EXPECT_EQ(outcomeOf(bridge),
            "BrindlevaneBridge is not installed. Open Brindlevane and install the Ableton bridge "
            "first.");
}

TEST(MCPBridgeClient, NothingIsSentToAnotherAddress) {
  for (const std::string path : {"//evil.example/v1", "//127.0.0.1/v1", "//[::1]:8765/",
                                 "http://localhost:8765/", "http://127.0.0.1:1025/", "/a b"}) {
    ScriptedBridge bridge;
    EXPECT_EQ(outcomeOf(bridge, path), MCPServerError::configurationInvalid().what()) << path;
    EXPECT_TRUE(bridge.requests.empty()) << path;
  }
}

TEST(MCPBridgeClient, RequestsAreSignedAndNumberedAnew) {
  ScriptedBridge bridge;
  bridge.configuration =
      R"({"bridgeUrl":"http://[::1]:9000/base/path","authToken":"0123456789abcdef0123456789abcdef"})";
  bridge.succeed("/v1/x", 1);
  const MCPBridgeClient client(bridge.access());
  std::set<std::string> ids;
  for (const bool hasPayload : {false, true}) {
    (void)client.request("/v1/x", "PUT", hasPayload ? std::optional(Json{{"a", 1}}) : std::nullopt,
                         Seconds(3));
    const HttpRequest& request = bridge.requests.back();
    const std::map<std::string, std::string> headers(request.headers.begin(),
                                                     request.headers.end());
    EXPECT_EQ(request.host, "::1");
    EXPECT_EQ(request.port, 9000);
    EXPECT_EQ(request.method, "PUT");
    EXPECT_EQ(request.target, "/v1/x");
    EXPECT_EQ(request.body, hasPayload ? R"({"a":1})" : "");
    EXPECT_EQ(headers.at("X-Brindlevane-Token"), "0123456789abcdef0123456789abcdef");
    EXPECT_EQ(headers.at("Accept"), "application/json");
    EXPECT_EQ(headers.contains("Content-Type"), hasPayload);
    EXPECT_TRUE(std::regex_match(headers.at("X-Brindlevane-Request-Id"),
                                 std::regex("mcp-[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}")));
    ids.insert(headers.at("X-Brindlevane-Request-Id"));
  }
  EXPECT_EQ(ids.size(), 2U);
}

}  // namespace
}  // namespace brindlevane
