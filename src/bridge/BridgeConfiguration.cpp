#include "bridge/BridgeConfiguration.h"

#include "contract/MCPServerError.h"
#include "platform/JsonMembers.h"
#include "platform/Text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <optional>
#include <system_error>
#include <utility>

namespace brindlevane {
namespace {

constexpr unsigned kLowestPort = 1024;
constexpr std::size_t kShortestToken = 32;
/// In bytes: all headers of a request together should stay below 64 KiB.
constexpr std::size_t kLongestToken = 60'000;

/// The address, unless it is anything but one of the two hosts, a port and a path.
std::optional<LoopbackURL> loopbackURL(const std::string& text) {
  for (const auto& [start, host] :
       {std::pair("http://127.0.0.1:", "127.0.0.1"), std::pair("http://[::1]:", "::1")}) {
    if (text.starts_with(start)) {
      const char* const end = text.data() + text.size();
      std::uint16_t port = 0;
      const auto [path, error] = std::from_chars(text.data() + std::strlen(start), end, port);
      const bool isAllowed = error == std::errc() && port >= kLowestPort &&
                             (path == end || isPath(std::string_view(path, end)));
      return isAllowed ? std::optional(LoopbackURL{text, host, port}) : std::nullopt;
    }
  }
  return std::nullopt;
}

/// A control character would end the header that carries the token, or begin another one; spaces
/// at the ends of a header's value are dropped on the way.
bool fitsInHeader(std::string_view token) {
  if (token.size() > kLongestToken || token.starts_with(' ') || token.ends_with(' ')) {
    return false;
  }
  return std::ranges::none_of(token,
                              [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; });
}

}  // namespace

bool isPath(std::string_view text) {
  constexpr std::string_view kHexadecimal = "0123456789ABCDEFabcdef";
  constexpr std::string_view kCharacters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/%";
  if (!text.starts_with('/') || text.find_first_not_of(kCharacters) != std::string_view::npos) {
    return false;
  }
  for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 1)) {
    const std::string_view byte = text.substr(at + 1, 2);
    if (byte.size() < 2 || byte.find_first_not_of(kHexadecimal) != std::string_view::npos) {
      return false;
    }
  }
  return true;
}

BridgeConfiguration readConfiguration(const std::optional<std::string>& text) {
  if (!text) {
    throw MCPServerError::configurationMissing();
  }
  const Json json = parseJson(*text).value_or(nullptr);
  const std::string* const address = stringAt(json, "bridgeUrl");
  const std::string* const token = stringAt(json, "authToken");
  const auto url = address == nullptr ? std::nullopt : loopbackURL(*address);
  if (!url || token == nullptr || !hasMoreCharactersThan(kShortestToken - 1, *token) ||
      !fitsInHeader(*token)) {
    throw MCPServerError::configurationInvalid();
  }
  return {*url, *token};
}

}  // namespace brindlevane
