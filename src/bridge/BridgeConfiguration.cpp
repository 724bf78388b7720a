#include "bridge/BridgeConfiguration.h"

#include "contract/MCPServerError.h"
#include "platform/Json.h"
#include "platform/Text.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace brindlevane {
namespace {

constexpr unsigned kLowestPort = 1024;
constexpr std::size_t kShortestToken = 32;
/// In bytes: all headers of a request together should stay below 64 KiB.
constexpr std::size_t kLongestToken = 60'000;

bool isAllowed(const Url& url) {
  return url.scheme == "http" && isLoopback(url.host) && !url.hasUserInfo && !url.hasQuery &&
         !url.hasFragment && url.port && *url.port >= kLowestPort;
}

/// A control character would end the header that carries the token, or begin another one; spaces
/// at the ends of a header's value are dropped on the way.
bool fitsInHeader(std::string_view token) {
  if (token.size() > kLongestToken || token.starts_with(' ') || token.ends_with(' ')) {
    return false;
  }
  return std::none_of(token.begin(), token.end(), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
  });
}

/// The string under the key of a JSON object.
const std::string& stringIn(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_string()) {
    throw MCPServerError::configurationInvalid();
  }
  return found->get_ref<const std::string&>();
}

}  // namespace

bool isLoopback(std::string_view host) {
  return host == "127.0.0.1" || host == "::1";
}

BridgeConfiguration readConfiguration(std::string_view text) {
  const std::optional<Json> json = parseJson(text);
  if (!json || !json->is_object()) {
    throw MCPServerError::configurationInvalid();
  }
  const std::optional<Url> url = parseUrl(stringIn(*json, "bridgeUrl"));
  const std::string& token = stringIn(*json, "authToken");
  if (!url || !isAllowed(*url) || !hasMoreCharactersThan(kShortestToken - 1, token) ||
      !fitsInHeader(token)) {
    throw MCPServerError::configurationInvalid();
  }
  return {*url, token};
}

}  // namespace brindlevane
