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

/// What follows the backslash of a character that must be escaped; 'u' for the long form, 0 for a
/// character that stands for itself.
constexpr std::array<char, 256> kEscapes = [] {
  std::array<char, 256> escapes{};
  for (std::size_t control = 0; control < 0x20; ++control) {
    escapes[control] = 'u';
  }
  escapes['\b'] = 'b';
  escapes['\f'] = 'f';
  escapes['\n'] = 'n';
  escapes['\r'] = 'r';
  escapes['\t'] = 't';
  escapes['"'] = '"';
  escapes['\\'] = '\\';
  return escapes;
}();

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
      if (byte >= 0x80) {
        if (!skipCodePoint()) {
          return false;
        }
      } else if (kEscapes[byte] == 0) {
        ++at_;
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
    at_ += length > 0 ? length : 0;
    return length > 0;
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

  /// What follows "\u"; the two halves of a surrogate pair make one character.
  bool readUnicodeEscape(std::string& out) {
    utf8proc_int32_t codePoint = 0;
    if (!readHexQuad(codePoint)) {
      return false;
    }
    if (codePoint >= 0xD800 && codePoint < 0xDC00) {
      utf8proc_int32_t low = 0;
      if (!take("\\u") || !readHexQuad(low) || low < 0xDC00 || low >= 0xE000) {
        return false;
      }
      codePoint = 0x10000 + (codePoint - 0xD800) * 0x400 + (low - 0xDC00);
    } else if (codePoint >= 0xDC00 && codePoint < 0xE000) {
      return false;
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

/// How the characters of JSON are spelled where the text itself stands.
struct PlainSpelling {
  static constexpr std::string_view kQuote = "\"";
  static constexpr std::string_view kBackslash = "\\";
};

/// The same inside a JSON string, so that a printed text needs no second pass.
struct QuotedSpelling {
  static constexpr std::string_view kQuote = "\\\"";
  static constexpr std::string_view kBackslash = "\\\\";
};

constexpr std::string_view kQuotedNewline = "\\n";

template <typename Spelling>
void appendEscape(std::string& out, unsigned char character) {
  const char escape = kEscapes[character];
  out += Spelling::kBackslash;
  if (escape == 'u') {
    constexpr std::string_view kDigits = "0123456789abcdef";
    out += "u00";
    out += kDigits[character >> 4U];
    out += kDigits[character & 0xFU];
  } else if (escape == '"') {
    out += Spelling::kQuote;
  } else if (escape == '\\') {
    out += Spelling::kBackslash;
  } else {
    out += escape;
  }
}

template <typename Spelling>
void appendString(std::string& out, std::string_view text) {
  out += Spelling::kQuote;
  std::size_t copied = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto character = static_cast<unsigned char>(text[i]);
    if (kEscapes[character] != 0) {
      out.append(text, copied, i - copied);
      appendEscape<Spelling>(out, character);
      copied = i + 1;
    }
  }
  out.append(text, copied);
  out += Spelling::kQuote;
}

void appendDouble(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  std::array<char, 32> digits{};
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  const std::string_view text(digits.data(), static_cast<std::size_t>(written.ptr - digits.data()));
  const std::size_t exponent = text.find('e');
  out += text.substr(0, exponent);
  if (exponent != std::string_view::npos) {
    // "1e+07" is "1e7" in the fewest characters.
    const bool negative = text[exponent + 1] == '-';
    const std::string_view power = text.substr(exponent + 2);
    out += negative ? "e-" : "e";
    out += power.substr(power.front() == '0' ? 1 : 0);
  } else if (text.find('.') == std::string_view::npos) {
    out += ".0";
  }
}

template <typename Integer>
void appendInteger(std::string& out, Integer value) {
  std::array<char, 24> digits{};
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  out.append(digits.data(), written.ptr);
}

template <typename Spelling>
void appendScalar(std::string& out, const Json& value) {
  switch (value.type()) {
    case Json::value_t::string:
      return appendString<Spelling>(out, *value.get_ptr<const Json::string_t*>());
    case Json::value_t::boolean:
      out += *value.get_ptr<const Json::boolean_t*>() ? "true" : "false";
      return;
    case Json::value_t::number_integer:
      return appendInteger(out, *value.get_ptr<const Json::number_integer_t*>());
    case Json::value_t::number_unsigned:
      return appendInteger(out, *value.get_ptr<const Json::number_unsigned_t*>());
    case Json::value_t::number_float:
      return appendDouble(out, *value.get_ptr<const Json::number_float_t*>());
    default:
      out += "null";
  }
}

void appendQuotedLineStart(std::string& out, std::size_t level) {
  out += kQuotedNewline;
  out.append(2 * level, ' ');
}

void appendQuotedPretty(std::string& out, const Json& value, std::size_t level) {
  if (!value.is_structured()) {
    return appendScalar<QuotedSpelling>(out, value);
  }
  out += value.is_object() ? '{' : '[';
  std::string_view separator;
  if (value.is_object()) {
    for (const auto& [key, member] : *value.get_ptr<const Json::object_t*>()) {
      out += std::exchange(separator, ",");
      appendQuotedLineStart(out, level + 1);
      appendString<QuotedSpelling>(out, key);
      out += ": ";
      appendQuotedPretty(out, member, level + 1);
    }
  } else {
    for (const Json& element : *value.get_ptr<const Json::array_t*>()) {
      out += std::exchange(separator, ",");
      appendQuotedLineStart(out, level + 1);
      appendQuotedPretty(out, element, level + 1);
    }
  }
  if (!value.empty()) {
    appendQuotedLineStart(out, level);
  }
  out += value.is_object() ? '}' : ']';
}

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

void appendJson(std::string& out, const Json& value) {
  if (!value.is_structured()) {
    return appendScalar<PlainSpelling>(out, value);
  }
  std::string_view separator;
  if (value.is_object()) {
    out += '{';
    for (const auto& [key, member] : *value.get_ptr<const Json::object_t*>()) {
      out += std::exchange(separator, ",");
      appendString<PlainSpelling>(out, key);
      out += ':';
      appendJson(out, member);
    }
    out += '}';
  } else {
    out += '[';
    for (const Json& element : *value.get_ptr<const Json::array_t*>()) {
      out += std::exchange(separator, ",");
      appendJson(out, element);
    }
    out += ']';
  }
}

void appendPrettyJsonString(std::string& out, const Json& value) {
  out += '"';
  appendQuotedPretty(out, value, 0);
  out += '"';
}

std::string compactJson(const Json& value) {
  std::string text;
  appendJson(text, value);
  return text;
}

}  // namespace brindlevane
