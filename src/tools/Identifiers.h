#pragma once

#include <cstddef>
#include <string_view>

namespace brindlevane::BrindlevaneMCP {

/// Lengths of the texts that calls carry, in user-perceived characters.
inline constexpr std::size_t kLongestName = 96;
inline constexpr std::size_t kLongestQuery = 200;
inline constexpr std::size_t kLongestJobId = 80;
inline constexpr std::size_t kLongestSampleId = 24;

/// Whether the text is "master_" and 32 lower-case hexadecimal digits.
[[nodiscard]] bool isJobId(std::string_view text);

/// Whether the text is 24 lower-case hexadecimal digits.
[[nodiscard]] bool isSampleId(std::string_view text);

}  // namespace brindlevane::BrindlevaneMCP
