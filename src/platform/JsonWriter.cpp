#include "platform/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace brindlevane {
namespace {

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
  // From here on a whole number has more digits than it takes to read it back.
  constexpr double kLongWhole = 1e17;
  std::array<char, 32> digits{};
  char* const end = digits.data() + digits.size();
  const auto written = std::abs(value) < kLongWhole ? std::to_chars(digits.data(), end, value)
                                                    : std::to_chars(digits.data(), end, value,
                                                                    std::chars_format::scientific);
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

/// The shortest form. It notes what the lines of the other one would add to it.
struct CompactForm {
  using Spelling = PlainSpelling;

  void startLine(std::size_t level) { indentation += kQuotedNewline.size() + 2 * level; }
  void endKey() {
    out += ':';
    ++indentation;
  }

  std::string& out;
  std::size_t indentation = 0;  ///< bytes
};

/// A member or element a line, inside a JSON string.
struct QuotedPrettyForm {
  using Spelling = QuotedSpelling;

  void startLine(std::size_t level) const {
    out += kQuotedNewline;
    out.append(2 * level, ' ');
  }
  void endKey() const { out += ": "; }

  std::string& out;
};

template <typename Form>
void appendValue(Form& form, const Json& value, std::size_t level) {
  using Spelling = typename Form::Spelling;
  std::string& out = form.out;
  if (!value.is_structured()) {
    return appendScalar<Spelling>(out, value);
  }
  out += value.is_object() ? '{' : '[';
  std::string_view separator;
  if (value.is_object()) {
    for (const auto& [key, member] : *value.get_ptr<const Json::object_t*>()) {
      out += std::exchange(separator, ",");
      form.startLine(level + 1);
      appendString<Spelling>(out, key);
      form.endKey();
      appendValue(form, member, level + 1);
    }
  } else {
    for (const Json& element : *value.get_ptr<const Json::array_t*>()) {
      out += std::exchange(separator, ",");
      form.startLine(level + 1);
      appendValue(form, element, level + 1);
    }
  }
  if (!value.empty()) {
    form.startLine(level);
  }
  out += value.is_object() ? '}' : ']';
}

}  // namespace

void appendJson(std::string& out, const Json& value) {
  CompactForm form{out};
  appendValue(form, value, 0);
}

std::size_t appendMeasuredJson(std::string& out, const Json& value) {
  const std::size_t start = out.size();
  CompactForm form{out};
  appendValue(form, value, 0);
  const std::string_view text = std::string_view(out).substr(start);
  // A string takes a backslash more for each of these, and has quotes of its own.
  const auto escaped =
      std::count(text.begin(), text.end(), '"') + std::count(text.begin(), text.end(), '\\');
  return text.size() + form.indentation + static_cast<std::size_t>(escaped) + 2;
}

void appendPrettyJsonString(std::string& out, const Json& value) {
  out += '"';
  QuotedPrettyForm form{out};
  appendValue(form, value, 0);
  out += '"';
}

std::string compactJson(const Json& value) {
  std::string text;
  appendJson(text, value);
  return text;
}

}  // namespace brindlevane
