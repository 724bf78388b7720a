#include "platform/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace brindlevane {
namespace {

/// How the parts of a text are spelled.
struct Form {
  std::string_view quote;
  std::string_view backslash;
  std::string_view colon;
  std::string_view lineBreak;
  std::size_t indentation;  ///< spaces a level
};

/// The shortest form.
constexpr Form kCompact = {"\"", "\\", ":", "", 0};

/// A member or element a line, inside a JSON string, so that the text needs no second pass.
constexpr Form kQuotedPretty = {"\\\"", "\\\\", ": ", "\\n", 2};

template <const Form& form>
class Writer {
 public:
  explicit Writer(std::string& out) : out_(out) {}

  void append(const Json& value, std::size_t level) {
    switch (value.type()) {
      case Json::value_t::object:
      case Json::value_t::array:
        return appendItems(value, level);
      case Json::value_t::string:
        return appendString(*value.get_ptr<const Json::string_t*>());
      case Json::value_t::boolean:
        out_ += *value.get_ptr<const Json::boolean_t*>() ? "true" : "false";
        return;
      case Json::value_t::number_integer:
        out_ += std::to_string(*value.get_ptr<const Json::number_integer_t*>());
        return;
      case Json::value_t::number_unsigned:
        out_ += std::to_string(*value.get_ptr<const Json::number_unsigned_t*>());
        return;
      case Json::value_t::number_float:
        return appendDouble(*value.get_ptr<const Json::number_float_t*>());
      default:
        out_ += "null";
    }
  }

  /// The bytes that kQuotedPretty takes more than kCompact between the values.
  [[nodiscard]] std::size_t padding() const { return padding_; }

 private:
  void appendItems(const Json& value, std::size_t level) {
    const bool isObject = value.is_object();
    out_ += isObject ? '{' : '[';
    for (auto item = value.begin(); item != value.end(); ++item) {
      if (item != value.begin()) {
        out_ += ',';
      }
      startLine(level + 1);
      if (isObject) {
        appendString(item.key());
        out_ += form.colon;
        padding_ += kQuotedPretty.colon.size() - kCompact.colon.size();
      }
      append(*item, level + 1);
    }
    if (!value.empty()) {
      startLine(level);
    }
    out_ += isObject ? '}' : ']';
  }

  void startLine(std::size_t level) {
    padding_ += kQuotedPretty.lineBreak.size() + level * kQuotedPretty.indentation;
    out_ += form.lineBreak;
    out_.append(level * form.indentation, ' ');
  }

  void appendString(std::string_view text) {
    out_ += form.quote;
    for (;;) {
      const auto escaped = std::find_if(text.begin(), text.end(), [](char c) {
        return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
      });
      out_.append(text.begin(), escaped);
      if (escaped == text.end()) {
        break;
      }
      appendEscape(*escaped);
      text = std::string_view(escaped + 1, text.end());
    }
    out_ += form.quote;
  }

  void appendEscape(char character) {
    constexpr std::string_view kCharacters = "\b\f\n\r\t";
    constexpr std::string_view kLetters = "bfnrt";
    out_ += form.backslash;
    if (character == '"') {
      out_ += form.quote;
    } else if (character == '\\') {
      out_ += form.backslash;
    } else if (const auto found = kCharacters.find(character); found < kLetters.size()) {
      out_ += kLetters[found];
    } else {
      out_ += character < 0x10 ? "u000" : "u001";
      out_ += "0123456789abcdef"[character % 0x10];
    }
  }

  void appendDouble(double value) {
    if (!std::isfinite(value)) {
      out_ += "null";
      return;
    }
    // From here on a whole number has more digits than it takes to read it back.
    constexpr double kLongWhole = 1e17;
    std::array<char, 32> digits{};
    char* const end = digits.data() + digits.size();
    const char* const written =
        (std::abs(value) < kLongWhole
             ? std::to_chars(digits.data(), end, value)
             : std::to_chars(digits.data(), end, value, std::chars_format::scientific))
            .ptr;
    const std::string_view text(digits.data(), static_cast<std::size_t>(written - digits.data()));
    const std::size_t exponent = text.find('e');
    out_ += text.substr(0, exponent);
    if (exponent != std::string_view::npos) {
      // "1e+07" is "1e7" in the fewest characters.
      const std::string_view power = text.substr(exponent + 2);
      out_ += text[exponent + 1] == '-' ? "e-" : "e";
      out_ += power.substr(power.starts_with('0') ? 1 : 0);
    } else if (text.find('.') == std::string_view::npos) {
      out_ += ".0";
    }
  }

  std::string& out_;
  std::size_t padding_ = 0;
};

}  // namespace

std::string compactJson(const Json& value) {
  std::string out;
  Writer<kCompact>(out).append(value, 0);
  return out;
}

std::size_t appendMeasuredJson(std::string& out, const Json& value) {
  const std::size_t start = out.size();
  Writer<kCompact> writer(out);
  writer.append(value, 0);
  const std::string_view text = std::string_view(out).substr(start);
  // A string takes a backslash more for each of these, and has quotes of its own.
  const auto escaped = std::ranges::count(text, '"') + std::ranges::count(text, '\\');
  return text.size() + writer.padding() + static_cast<std::size_t>(escaped) + 2;
}

void appendPrettyJsonString(std::string& out, const Json& value) {
  out += '"';
  Writer<kQuotedPretty>(out).append(value, 0);
  out += '"';
}

}  // namespace brindlevane
