#include "platform/Json.h"

#include <utf8proc.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace brindlevane {
namespace {

/// The bytes that stand for themselves in a string: ASCII but the controls, quote and backslash.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t byte = 0x20; byte < 0x80; ++byte) {
    plain[byte] = byte != '"' && byte != '\\';
  }
  return plain;
}();

bool isHighSurrogate(utf8proc_int32_t codePoint) {
  return codePoint >= 0xD800 && codePoint < 0xDC00;
}

bool isLowSurrogate(utf8proc_int32_t codePoint) {
  return codePoint >= 0xDC00 && codePoint < 0xE000;
}

/// Reads one JSON text straight into a tree, in a third of the time that a general parser needs.
/// Each function reads from at_ on and says whether the text held what it should.
class Reader {
 public:
  explicit Reader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  bool readText(Json& out) {
    if (!readValue(out, 1)) {
      return false;
    }
    skipSpace();
    return at_ == end_;
  }

 private:
  bool readValue(Json& out, std::size_t level) {
    skipSpace();
    if (at_ == end_) {
      return false;
    }
    switch (*at_) {
      case '{':
        return level <= kDeepestNesting && readObject(out, level);
      case '[':
        return level <= kDeepestNesting && readArray(out, level);
      case '"':
        out = std::string();
        return readString(*out.get_ptr<std::string*>());
      case 't':
        out = true;
        return take("true");
      case 'f':
        out = false;
        return take("false");
      case 'n':
        out = nullptr;
        return take("null");
      default:
        return readNumber(out);
    }
  }

  bool readObject(Json& out, std::size_t level) {
    out = Json::object();
    auto& members = *out.get_ptr<Json::object_t*>();
    ++at_;
    if (takeNext('}')) {
      return true;
    }
    do {
      std::string key;
      skipSpace();
      if (at_ == end_ || *at_ != '"' || !readString(key) || !takeNext(':')) {
        return false;
      }
      // Keys often come in order, which makes the end of the map the right place.
      const auto member = members.try_emplace(members.end(), std::move(key));
      if (!readValue(member->second, level + 1)) {
        return false;
      }
    } while (takeNext(','));
    return takeNext('}');
  }

  bool readArray(Json& out, std::size_t level) {
    out = Json::array();
    auto& elements = *out.get_ptr<Json::array_t*>();
    ++at_;
    if (takeNext(']')) {
      return true;
    }
    do {
      if (!readValue(elements.emplace_back(), level + 1)) {
        return false;
      }
    } while (takeNext(','));
    return takeNext(']');
  }

  bool readString(std::string& out) {
    ++at_;
    for (const char* run = at_; at_ != end_;) {
      const auto byte = static_cast<unsigned char>(*at_);
      if (kPlain[byte]) {
        ++at_;
      } else if (byte >= 0x80) {
        if (!skipCodePoint()) {
          return false;
        }
      } else {
        out.append(run, at_);
        ++at_;
        if (byte == '"') {
          return true;
        }
        if (byte != '\\' || !readEscape(out)) {
          return false;
        }
        run = at_;
      }
    }
    return false;
  }

  bool skipCodePoint() {
    utf8proc_int32_t codePoint = 0;
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(at_), end_ - at_, &codePoint);
    if (length < 0) {
      return false;
    }
    at_ += length;
    return true;
  }

  bool readEscape(std::string& out) {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    if (at_ == end_) {
      return false;
    }
    const char letter = *at_++;
    if (letter == 'u') {
      return readUnicodeEscape(out);
    }
    const std::size_t found = kLetters.find(letter);
    if (found == std::string_view::npos) {
      return false;
    }
    out += kMeanings[found];
    return true;
  }

  /// What follows "\u". The two halves of a surrogate pair make one character; a lone half, which
  /// the grammar allows and no text can hold, becomes U+FFFD.
  bool readUnicodeEscape(std::string& out) {
    constexpr utf8proc_int32_t kReplacement = 0xFFFD;
    utf8proc_int32_t codePoint = 0;
    if (!readHexQuad(codePoint)) {
      return false;
    }
    if (isHighSurrogate(codePoint)) {
      const char* const next = at_;
      utf8proc_int32_t low = 0;
      if (take("\\u") && readHexQuad(low) && isLowSurrogate(low)) {
        codePoint = 0x10000 + (codePoint - 0xD800) * 0x400 + (low - 0xDC00);
      } else {
        at_ = next;
        codePoint = kReplacement;
      }
    } else if (isLowSurrogate(codePoint)) {
      codePoint = kReplacement;
    }
    std::array<utf8proc_uint8_t, 4> bytes{};
    const utf8proc_ssize_t length = utf8proc_encode_char(codePoint, bytes.data());
    out.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
    return true;
  }

  bool readHexQuad(utf8proc_int32_t& value) {
    constexpr std::ptrdiff_t kDigits = 4;
    if (end_ - at_ < kDigits || *at_ == '-') {
      return false;
    }
    const char* const quadEnd = at_ + kDigits;
    at_ = std::from_chars(at_, quadEnd, value, 16).ptr;
    return at_ == quadEnd;
  }

  bool readNumber(Json& out) {
    const char* const start = at_;
    const bool isNegative = take("-");
    const char* const digits = at_;
    if (!skipDigits() || (*digits == '0' && at_ - digits > 1)) {
      return false;
    }
    const bool hasFraction = take(".");
    if (hasFraction && !skipDigits()) {
      return false;
    }
    const bool hasExponent = take("e") || take("E");
    if (hasExponent) {
      (void)(take("+") || take("-"));
      if (!skipDigits()) {
        return false;
      }
    }
    const std::string_view number(start, static_cast<std::size_t>(at_ - start));
    if (!hasFraction && !hasExponent &&
        (isNegative ? readAs<std::int64_t>(number, out) : readAs<std::uint64_t>(number, out))) {
      return true;
    }
    return readDouble(number, out);
  }

  /// @return whether the integer fits
  template <typename Integer>
  static bool readAs(std::string_view number, Json& out) {
    Integer value = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), value).ec != std::errc()) {
      return false;
    }
    out = value;
    return true;
  }

  static bool readDouble(std::string_view number, Json& out) {
    double value = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), value).ec != std::errc()) {
      // Out of range: strtod tells what is too close to zero from what is too large.
      value = std::strtod(std::string(number).c_str(), nullptr);
    }
    out = value;
    return std::isfinite(value);
  }

  bool skipDigits() {
    const char* const start = at_;
    while (at_ != end_ && *at_ >= '0' && *at_ <= '9') {
      ++at_;
    }
    return at_ != start;
  }

  void skipSpace() {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) {
      ++at_;
    }
  }

  /// Takes these characters when they come next.
  bool take(std::string_view characters) {
    if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(characters)) {
      return false;
    }
    at_ += characters.size();
    return true;
  }

  /// Takes the character when it comes next, after white space.
  bool takeNext(char character) {
    skipSpace();
    if (at_ == end_ || *at_ != character) {
      return false;
    }
    ++at_;
    return true;
  }

  const char* at_;
  const char* end_;
};

}  // namespace

std::optional<Json> parseJson(std::string_view text) {
  // RFC 8259, section 8.1, lets a reader pass over a byte order mark.
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  text.remove_prefix(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
  std::optional<Json> root(std::in_place);
  if (!Reader(text).readText(*root)) {
    root.reset();
  }
  return root;
}

}  // namespace brindlevane
