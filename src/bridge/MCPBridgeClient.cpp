#include "bridge/MCPBridgeClient.h"

#include "contract/MCPServerError.h"
#include "platform/JsonMembers.h"
#include "platform/Uuid.h"

#include <utility>
#include <variant>

namespace brindlevane {
namespace {

/// A status from here on is a refusal, whatever the body says.
constexpr unsigned kFirstRefusal = 400;

MCPServerError rejection(unsigned status, const Json& envelope) {
  const Json reason = envelope.value("error", Json());
  const std::string* const code = stringAt(reason, "code");
  const std::string* const message = stringAt(reason, "message");
  return MCPServerError::bridgeRejected(
      code != nullptr ? *code : "HTTP_" + std::to_string(status),
      message != nullptr ? *message : "The request was rejected.");
}

/// The "result" of an answer's envelope.
Json resultOf(const HttpAnswer& answer) {
  std::optional<Json> envelope = parseJson(answer.body);
  if (!envelope || !envelope->is_object()) {
    throw MCPServerError::invalidBridgeResponse();
  }
  if (answer.status >= kFirstRefusal || envelope->value("ok", Json()) != true) {
    throw rejection(answer.status, *envelope);
  }
  const auto result = envelope->find("result");
  if (result == envelope->end()) {
    throw MCPServerError::invalidBridgeResponse();
  }
  return std::move(*result);
}

}  // namespace

MCPBridgeClient::MCPBridgeClient(const BridgeAccess& access)
    : MCPBridgeClient(readConfiguration(access.readConfiguration()), access.exchange) {}

MCPBridgeClient::MCPBridgeClient(BridgeConfiguration configuration, HttpExchange exchange)
    : baseURL(std::move(configuration.baseURL)),
      token(std::move(configuration.token)),
      exchange_(std::move(exchange)) {}

Json MCPBridgeClient::request(std::string_view path, std::string_view method,
                              const std::optional<Json>& payload, Seconds timeout) const {
  // What begins with two slashes would name another host.
  if (!isPath(path) || path.starts_with("//")) {
    throw MCPServerError::configurationInvalid();
  }
  HttpRequest request{.host = baseURL.host,
                      .port = baseURL.port,
                      .method = std::string(method),
                      .target = std::string(path),
                      .headers = {{"X-Brindlevane-Token", token},
                                  {"X-Brindlevane-Request-Id", "mcp-" + randomUuid()},
                                  {"Accept", "application/json"}},
                      .body = {}};
  if (payload) {
    request.headers.emplace_back("Content-Type", "application/json");
    request.body = compactJson(*payload);
  }
  const HttpOutcome outcome = exchange_(request, timeout);
  if (const auto* answer = std::get_if<HttpAnswer>(&outcome)) {
    return resultOf(*answer);
  }
  throw std::get<HttpFailure>(outcome) == HttpFailure::bodyTooLong
      ? MCPServerError::invalidBridgeResponse()
      : MCPServerError::bridgeUnreachable();
}

}  // namespace brindlevane
