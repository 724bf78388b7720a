#include "platform/Json.h"
#include "server/BrindlevaneMCPMain.h"
#include "tests/support/ScriptedBridge.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace brindlevane;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

/// What is read must be what the JSON library's own, slower parser reads. That one stops at a NUL
/// byte, has no limit to nesting and refuses the escape of half a surrogate pair.
void checkReading(std::string_view text) {
  const std::optional<Json> read = parseJson(text);
  const Json expected = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  const auto opened =
      std::count(text.begin(), text.end(), '[') + std::count(text.begin(), text.end(), '{');
  if (read) {
    const bool mayHoldHalves =
        text.find("\\ud") != std::string_view::npos || text.find("\\uD") != std::string_view::npos;
    require(*read == expected || (expected.is_discarded() && mayHoldHalves));
  } else {
    require(expected.is_discarded() || text.find('\0') != std::string_view::npos ||
            opened > static_cast<std::ptrdiff_t>(kDeepestNesting));
  }
}

/// The answer must be one line of valid JSON that echoes the id.
void checkAnswer(std::string_view line, const std::optional<std::string>& answer) {
  const std::optional<Json> request = parseJson(line);
  const bool isObject = request && request->is_object();
  const bool isNotification = isObject && !request->contains("id") && request->contains("method") &&
                              request->at("method").is_string();
  require(answer.has_value() != isNotification);
  if (!answer) {
    return;
  }
  require(answer->find('\n') == answer->size() - 1);
  const std::optional<Json> response = parseJson(*answer);
  require(response && response->size() == 3 && response->at("jsonrpc") == "2.0");
  require(response->contains("result") != response->contains("error"));
  require(response->at("id") == (isObject ? request->value("id", Json()) : Json()));
  // As short as it can be; the order of the members is free.
  require(compactJson(*response).size() + 1 == answer->size());
  if (response->contains("result") && response->at("result").contains("content")) {
    const Json& result = response->at("result");
    const auto& text = result.at("content").at(0).at("text").get_ref<const std::string&>();
    require(parseJson(text) == result.at("structuredContent"));
  }
}

}  // namespace

/// Any bytes as lines of input; the bridge in memory gives back what it was sent.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ScriptedBridge bridge;
  const HttpOutcome health = bridge.answers.at("/v1/health");
  const BridgeAccess access{
      bridge.access().readConfiguration,
      [&health](const HttpRequest& request, Seconds) -> HttpOutcome {
        return request.target == "/v1/health"
                   ? health
                   : HttpAnswer{200, R"({"ok":true,"result":)" +
                                         (request.body.empty() ? "[]" : request.body) + "}"};
      }};
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    checkReading(line);
    checkAnswer(line, BrindlevaneMCPMain::answer(line, access));
  }
  return 0;
}
