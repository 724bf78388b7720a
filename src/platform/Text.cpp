#include "platform/Text.h"

#include <utf8proc.h>

#include <algorithm>

namespace brindlevane {
namespace {

/// Takes the first code point off a text that is not empty.
/// @return negative for a byte that is no UTF-8
utf8proc_int32_t takeCodePoint(std::string_view& text) {
  utf8proc_int32_t value = 0;
  const utf8proc_ssize_t length =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &value);
  text.remove_prefix(static_cast<std::size_t>(std::max<utf8proc_ssize_t>(length, 1)));
  return value;
}

bool isSpace(utf8proc_int32_t value) {
  return (value >= 0x09 && value <= 0x0D) || value == 0x20 || value == 0x85 || value == 0xA0 ||
         value == 0x1680 || (value >= 0x2000 && value <= 0x200B) || value == 0x2028 ||
         value == 0x2029 || value == 0x202F || value == 0x205F || value == 0x3000;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  std::string_view kept;
  while (!text.empty()) {
    const char* const at = text.data();
    if (!isSpace(takeCodePoint(text))) {
      kept = std::string_view(kept.empty() ? at : kept.data(), text.data());
    }
  }
  return kept;
}

bool hasMoreCharactersThan(std::size_t count, std::string_view text) {
  std::size_t characters = 0;
  utf8proc_int32_t previous = 0;
  utf8proc_int32_t state = 0;
  while (!text.empty() && characters <= count) {
    const utf8proc_int32_t next = takeCodePoint(text);
    if (characters == 0 || utf8proc_grapheme_break_stateful(previous, next, &state)) {
      ++characters;
    }
    previous = next;
  }
  return characters > count;
}

}  // namespace brindlevane
