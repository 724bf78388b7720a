#pragma once

#include <cstddef>
#include <string_view>

namespace brindlevane {

/// The text without white space and line breaks at its ends: U+0009 to U+000D, U+0020, U+0085,
/// U+00A0, U+1680, U+2000 to U+200B, U+2028, U+2029, U+202F, U+205F and U+3000.
///
/// @param text  valid UTF-8
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// Whether the text holds more than `count` user-perceived characters (extended grapheme
/// clusters); reads no further than it must.
///
/// @param text  valid UTF-8
/// @see Unicode Standard Annex #29, "Unicode Text Segmentation".
[[nodiscard]] bool hasMoreCharactersThan(std::size_t count, std::string_view text);

}  // namespace brindlevane
