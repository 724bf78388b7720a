#include "bridge/MCPBridgeClient.h"
#include "contract/MCPServerError.h"
#include "support/LoopbackServer.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <tuple>
#include <variant>
#include <vector>

namespace brindlevane {
namespace {

/// The case of a failed request, the text of its error, the code and the reason that it carries.
using Refusal = std::tuple<MCPServerError::Case, std::string, std::string, std::string>;

/// What a request comes to: the result as JSON, or the refusal.
using Outcome = std::variant<std::string, Refusal>;

Outcome outcomeOf(const BridgeAccess& access, const std::string& path = "/v1/x") {
  try {
    return compactJson(MCPBridgeClient(access).request(path, "GET", std::nullopt, Seconds(6)));
  } catch (const MCPServerError& error) {
    return Refusal(error.kind, error.errorDescription, error.code, error.message);
  }
}

Outcome refusal(MCPServerError::Case kind, const std::string& description) {
  return Refusal(kind, description, "", "");
}

const Outcome kUnreachable = refusal(
    MCPServerError::Case::bridgeUnreachable,
    "Ableton Live is not connected to BrindlevaneBridge. Open Ableton and wait a few seconds.");
const Outcome kInvalidResponse = refusal(MCPServerError::Case::invalidBridgeResponse,
                                         "BrindlevaneBridge returned an invalid response.");
const Outcome kInvalidConfiguration = refusal(
    MCPServerError::Case::configurationInvalid,
    "The local BrindlevaneBridge configuration is invalid. Reinstall the bridge from Brindlevane.");

Outcome rejected(const std::string& code, const std::string& message) {
  return Refusal(MCPServerError::Case::bridgeRejected,
                 "BrindlevaneBridge error " + code + ": " + message, code, message);
}

TEST(MCPBridgeClient, TheEnvelopeDecides) {
  const std::string noReason = "The request was rejected.";
  const std::vector<std::tuple<unsigned, std::string, Outcome>> cases = {
      {200, R"({"ok":true,"result":{"a":[1,2.0]}})", R"({"a":[1,2.0]})"},
      {200, R"({"ok":true,"result":null,"error":{"code":"X"}})", "null"},
      {399, R"({"ok":true,"result":18446744073709551615})", "18446744073709551615"},
      {0, R"({"ok":true,"result":false})", "false"},
      {200, R"({"ok":true})", kInvalidResponse},
      {200, "", kInvalidResponse},
      {500, "<html>", kInvalidResponse},
      {200, R"([{"ok":true,"result":1}])", kInvalidResponse},
      {400, R"({"ok":true,"result":1})", rejected("HTTP_400", noReason)},
      {200, R"({"ok":false,"result":1})", rejected("HTTP_200", noReason)},
      {200, R"({"ok":1,"result":1})", rejected("HTTP_200", noReason)},
      {500, R"({"ok":false,"error":{"code":"LIVE_BUSY","message":"Busy"}})",
       rejected("LIVE_BUSY", "Busy")},
      {409, R"({"error":{"code":7,"message":"Old"}})", rejected("HTTP_409", "Old")},
      {409, R"({"error":{"code":"","message":""}})", rejected("", "")},
      {409, R"({"error":{"code":"OLD","message":null}})", rejected("OLD", noReason)},
      {409, R"({"error":"OLD","message":"M"})", rejected("HTTP_409", noReason)}};
  for (const auto& [status, body, expected] : cases) {
    ScriptedBridge bridge;
    bridge.answers["/v1/x"] = HttpAnswer{status, body};
    EXPECT_EQ(outcomeOf(bridge.access()), expected) << status << body;
  }
}

TEST(MCPBridgeClient, FailuresOfTheLinkSayWhatToDo) {
  ScriptedBridge bridge;
  EXPECT_EQ(outcomeOf(bridge.access()), kUnreachable);
  bridge.answers["/v1/x"] = HttpFailure::bodyTooLong;
  EXPECT_EQ(outcomeOf(bridge.access()), kInvalidResponse);
  bridge.configuration = "{}";
  EXPECT_EQ(outcomeOf(bridge.access()), kInvalidConfiguration);
  bridge.configuration.reset();
  EXPECT_EQ(outcomeOf(bridge.access()),
            refusal(MCPServerError::Case::configurationMissing,
                    "BrindlevaneBridge is not installed. Open Brindlevane and install the Ableton "
                    "bridge first."));
}

TEST(MCPBridgeClient, NothingIsSentToAnotherAddress) {
  for (const std::string path : {"//evil.example/v1", "//127.0.0.1/v1", "//[::1]:8765/",
                                 "http://localhost:8765/", "http://127.0.0.1:1025/", "/a b"}) {
    ScriptedBridge bridge;
    EXPECT_EQ(outcomeOf(bridge.access(), path), kInvalidConfiguration) << path;
    EXPECT_TRUE(bridge.requests.empty()) << path;
  }
}

TEST(MCPBridgeClient, RequestsAreSignedAndNumberedAnew) {
  ScriptedBridge bridge;
  bridge.configuration =
      R"({"bridgeUrl":"http://[::1]:9000/base/path","authToken":"0123456789abcdef0123456789abcdef"})";
  bridge.succeed("/v1/x", 1);
  const MCPBridgeClient client(bridge.access());
  EXPECT_EQ(client.baseURL.text, "http://[::1]:9000/base/path");
  EXPECT_EQ(client.token, "0123456789abcdef0123456789abcdef");
  std::set<std::string> ids;
  for (const bool hasPayload : {false, true}) {
    (void)client.request("/v1/x", "PUT", hasPayload ? std::optional(Json{{"a", 1}}) : std::nullopt,
                         Seconds(3));
    const HttpRequest& request = bridge.requests.back();
    std::map<std::string, std::string> headers(request.headers.begin(), request.headers.end());
    const std::string id = headers["X-Brindlevane-Request-Id"];
    std::map<std::string, std::string> expected = {{"X-Brindlevane-Token", client.token},
                                                   {"X-Brindlevane-Request-Id", id},
                                                   {"Accept", "application/json"}};
    if (hasPayload) {
      expected["Content-Type"] = "application/json";
    }
    EXPECT_EQ(headers, expected);
    EXPECT_EQ(request.host + " " + std::to_string(request.port), "::1 9000");
    EXPECT_EQ(request.method + " " + request.target, "PUT /v1/x");
    EXPECT_EQ(request.body, hasPayload ? R"({"a":1})" : "");
    EXPECT_EQ(bridge.timeouts.back(), Seconds(3));
    EXPECT_TRUE(std::regex_match(id, std::regex("mcp-[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}")));
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), 2U);
}

TEST(MCPBridgeClient, TheLongestTokenReachesTheBridge) {
  const std::string token = "t" + std::string(59'998, ' ') + "t";
  std::string received;
  {
    const LoopbackServer server([&](LoopbackServer::Connection& connection) {
      while (received.find("\r\n\r\n") == std::string::npos) {
        received += connection.receive();
      }
      connection.respond(200, R"({"ok":true,"result":1})");
    });
    const Json configuration = {{"bridgeUrl", "http://127.0.0.1:" + std::to_string(server.port())},
                                {"authToken", token}};
    EXPECT_EQ(outcomeOf({[=] { return compactJson(configuration); }, exchangeOverTcp}),
              Outcome("1"));
  }
  EXPECT_NE(received.find("X-Brindlevane-Token: " + token + "\r\n"), std::string::npos);
}

}  // namespace
}  // namespace brindlevane
