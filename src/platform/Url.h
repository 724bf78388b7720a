#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindlevane {

/// The parts of an absolute URL, as written.
struct Url {
  std::string text;    ///< the whole URL
  std::string scheme;  ///< in its own letter case
  std::string host;    ///< an IPv6 address without its brackets; empty when there is none
  std::optional<std::uint16_t> port;
  std::string target;        ///< path and query as a request line holds them, "/" for an empty path
  bool hasUserInfo = false;  ///< a bare "@" counts, as do a bare "?" and "#" below
  bool hasQuery = false;
  bool hasFragment = false;
};

/// Reads an absolute URL; nothing when the text is none.
///
/// @see RFC 3986, sections 3 and 4.3.
[[nodiscard]] std::optional<Url> parseUrl(std::string_view text);

/// The absolute URL that the reference names when it is read against the base; nothing when the
/// reference is malformed.
///
/// @see RFC 3986, section 5.2.
[[nodiscard]] std::optional<Url> resolveUrl(const Url& base, std::string_view reference);

}  // namespace brindlevane
