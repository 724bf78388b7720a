#include "platform/Url.h"

#include <uriparser/Uri.h>

#include <charconv>
#include <cstddef>

namespace brindlevane {
namespace {

/// A parsed reference that is freed with its owner. It points into the text it was parsed from.
class ParsedUri {
 public:
  ParsedUri() = default;
  explicit ParsedUri(std::string_view text) {
    valid_ =
        uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(), nullptr) == URI_SUCCESS;
  }
  ParsedUri(const ParsedUri&) = delete;
  ParsedUri& operator=(const ParsedUri&) = delete;
  ~ParsedUri() { uriFreeUriMembersA(&uri_); }

  [[nodiscard]] bool isValid() const { return valid_; }
  [[nodiscard]] const UriUriA& parts() const { return uri_; }

  bool resolve(const ParsedUri& reference, const ParsedUri& base) {
    return uriAddBaseUriA(&uri_, &reference.uri_, &base.uri_) == URI_SUCCESS;
  }

  [[nodiscard]] std::optional<std::string> text() const {
    int length = 0;
    if (uriToStringCharsRequiredA(&uri_, &length) != URI_SUCCESS) {
      return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    if (uriToStringA(text.data(), &uri_, length + 1, nullptr) != URI_SUCCESS) {
      return std::nullopt;
    }
    text.pop_back();
    return text;
  }

 private:
  UriUriA uri_{};
  bool valid_ = false;
};

std::string textOf(const UriTextRangeA& range) {
  return range.first == nullptr ? std::string() : std::string(range.first, range.afterLast);
}

std::optional<std::uint16_t> portOf(const UriTextRangeA& range) {
  const std::string digits = textOf(range);
  std::uint16_t port = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (digits.empty() || read.ec != std::errc()) {
    return std::nullopt;
  }
  return port;
}

std::string targetOf(const UriUriA& uri) {
  std::string target;
  for (const UriPathSegmentA* segment = uri.pathHead; segment != nullptr; segment = segment->next) {
    target += '/';
    target += textOf(segment->text);
  }
  if (target.empty()) {
    target += '/';
  }
  if (uri.query.first != nullptr) {
    target += '?';
    target += textOf(uri.query);
  }
  return target;
}

std::optional<Url> urlOf(const UriUriA& uri, std::string_view text) {
  if (uri.scheme.first == nullptr) {
    return std::nullopt;
  }
  return Url{.text = std::string(text),
             .scheme = textOf(uri.scheme),
             .host = textOf(uri.hostText),
             .port = portOf(uri.portText),
             .target = targetOf(uri),
             .hasUserInfo = uri.userInfo.first != nullptr,
             .hasQuery = uri.query.first != nullptr,
             .hasFragment = uri.fragment.first != nullptr};
}

}  // namespace

std::optional<Url> parseUrl(std::string_view text) {
  const ParsedUri parsed(text);
  return parsed.isValid() ? urlOf(parsed.parts(), text) : std::nullopt;
}

std::optional<Url> resolveUrl(const Url& base, std::string_view reference) {
  const ParsedUri parsedBase(base.text);
  const ParsedUri parsedReference(reference);
  ParsedUri resolved;
  if (!parsedBase.isValid() || !parsedReference.isValid() ||
      !resolved.resolve(parsedReference, parsedBase)) {
    return std::nullopt;
  }
  const std::optional<std::string> text = resolved.text();
  return text ? urlOf(resolved.parts(), *text) : std::nullopt;
}

}  // namespace brindlevane
