#include "server/BrindlevaneMCPMain.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

/// The answer to a line without its line feed, or "" when there is none.
std::string answerTo(const std::string& line) {
  ScriptedBridge bridge;
  std::string answered = BrindlevaneMCPMain::answer(line, bridge.access()).value_or("");
  if (answered.empty()) {
    EXPECT_TRUE(bridge.requests.empty());
  } else {
    EXPECT_EQ(answered.find('\n'), answered.size() - 1);
    answered.pop_back();
  }
  return answered;
}

std::string failed(const std::string& id, int code, const std::string& message) {
  return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message +
         R"("},"id":)" + id + R"(,"jsonrpc":"2.0"})";
}

std::string succeeded(const std::string& id, const std::string& result) {
  return R"({"id":)" + id + R"(,"jsonrpc":"2.0","result":)" + result + "}";
}

TEST(MainLoop, EveryLineGetsItsAnswer) {
  const std::string parseError = failed("null", -32700, "Parse error");
  const std::string noName = failed("1", -32602, "tools/call requires a tool name.");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", parseError},
      {"7", parseError},
      {R"([{"id":1,"method":"ping"}])", parseError},
      {R"({"id":1,"method":"ping"}x)", parseError},
      {"{\"id\":" + std::string(512, '[') + std::string(512, ']') + "}", parseError},
      {"{}", failed("null", -32600, "Invalid JSON-RPC request.")},
      {R"({"id":7})", failed("7", -32600, "Invalid JSON-RPC request.")},
      {R"({"id":[1],"method":null})", failed("[1]", -32600, "Invalid JSON-RPC request.")},
      {R"({"jsonrpc":"2.0","method":"ping"})", ""},
      {R"({"method":"tools/call","params":{"name":"brindlevane_get_context"}})", ""},
      {R"({"id":null,"method":"ping"})", succeeded("null", "{}")},
      {R"( {"jsonrpc":1,"id":"a","method":"ping","params":[]} )", succeeded("\"a\"", "{}")},
      {R"({"id":1.5,"method":"ping"})", succeeded("1.5", "{}")},
      {R"({"id":{"x":[18446744073709551615,-1,1.0]},"method":"ping"})",
       succeeded(R"({"x":[18446744073709551615,-1,1.0]})", "{}")},
      {R"({"id":1,"method":"resources/list"})", succeeded("1", R"({"resources":[]})")},
      {R"({"id":1,"method":"prompts/list"})", succeeded("1", R"({"prompts":[]})")},
      {R"({"id":1,"method":"Ping"})", failed("1", -32601, "Method not found: Ping")},
      {R"({"id":1,"method":"a\/\u00e9\""})", failed("1", -32601, "Method not found: a/\u00e9\\\"")},
      {R"({"id":1,"method":"tools/call"})", noName},
      {R"({"id":1,"method":"tools/call","params":["brindlevane_play"]})", noName},
      {R"({"id":1,"method":"tools/call","params":{"arguments":{}}})", noName},
      {R"({"id":1,"method":"tools/call","params":{"name":1}})", noName}};
  for (const auto& [line, expected] : cases) {
    EXPECT_EQ(answerTo(line), expected) << line.substr(0, 80);
  }
}

TEST(MainLoop, AToolIsCalledWithAnObjectOfArguments) {
  // What stands in "params", and whether the tool, which takes none, gets arguments.
  const std::vector<std::pair<std::string, bool>> cases = {{R"("arguments":{"a":1})", true},
                                                           {R"("arguments":{})", false},
                                                           {R"("arguments":[1])", false},
                                                           {R"("arguments":null)", false},
                                                           {R"("a":1},"arguments":{"a":1)", false}};
  for (const auto& [arguments, isRefused] : cases) {
    ScriptedBridge bridge;
    bridge.succeed("/v1/session", Json::object());
    const std::string line =
        R"({"id":7,"method":"tools/call","params":{"name":"brindlevane_get_session",)" + arguments +
        "}}";
    const Json response = *parseJson(*BrindlevaneMCPMain::answer(line, bridge.access()));
    EXPECT_EQ(response.at("id"), 7);
    EXPECT_EQ(response.at("result").at("isError"), isRefused) << arguments;
  }
}

}  // namespace
}  // namespace brindlevane
