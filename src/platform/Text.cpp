#include "platform/Text.h"

#include <utf8proc.h>

namespace brindlevane {
namespace {

struct CodePoint {
  utf8proc_int32_t value;
  std::size_t length;  ///< bytes
};

/// The first code point of a text that is not empty; a byte that is no UTF-8 stands for itself.
CodePoint firstCodePoint(std::string_view text) {
  utf8proc_int32_t value = 0;
  const utf8proc_ssize_t length =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &value);
  if (length <= 0) {
    return {static_cast<unsigned char>(text.front()), 1};
  }
  return {value, static_cast<std::size_t>(length)};
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string_view lastCodePointOf(std::string_view text) {
  std::size_t start = text.size() - 1;
  while (start > 0 && isContinuation(text[start])) {
    --start;
  }
  return text.substr(start);
}

bool isSpace(utf8proc_int32_t value) {
  return (value >= 0x09 && value <= 0x0D) || value == 0x20 || value == 0x85 || value == 0xA0 ||
         value == 0x1680 || (value >= 0x2000 && value <= 0x200B) || value == 0x2028 ||
         value == 0x2029 || value == 0x202F || value == 0x205F || value == 0x3000;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  while (!text.empty()) {
    const CodePoint first = firstCodePoint(text);
    if (!isSpace(first.value)) {
      break;
    }
    text.remove_prefix(first.length);
  }
  while (!text.empty()) {
    const std::string_view last = lastCodePointOf(text);
    if (!isSpace(firstCodePoint(last).value)) {
      break;
    }
    text.remove_suffix(last.size());
  }
  return text;
}

bool hasMoreCharactersThan(std::size_t count, std::string_view text) {
  std::size_t characters = 0;
  utf8proc_int32_t previous = 0;
  utf8proc_int32_t state = 0;
  while (!text.empty() && characters <= count) {
    const CodePoint next = firstCodePoint(text);
    if (characters == 0 || utf8proc_grapheme_break_stateful(previous, next.value, &state)) {
      ++characters;
    }
    previous = next.value;
    text.remove_prefix(next.length);
  }
  return characters > count;
}

}  // namespace brindlevane
