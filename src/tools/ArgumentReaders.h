#pragma once

#include "platform/Json.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace brindlevane::BrindlevaneMCP {

/// The readers of a call's arguments, used when they are checked and again when they are sent.
/// Each throws MCPServerError::invalidArguments with a sentence about the first rule broken.

/// The trimmed string under the key: 1 to `maximumLength` user-perceived characters.
[[nodiscard]] std::string string(const Json& arguments, const std::string& key,
                                 std::size_t maximumLength);

/// The JSON number under the key as it was received, an integer or a double.
[[nodiscard]] const Json& number(const Json& arguments, const std::string& key);

/// The whole number from 0 to 2^63 - 1 under the key, which may be written with a fraction of zero.
[[nodiscard]] std::int64_t integer(const Json& arguments, const std::string& key);

/// Longest identifiers, in user-perceived characters.
inline constexpr std::size_t kLongestJobId = 80;
inline constexpr std::size_t kLongestSampleId = 24;

/// Refuses anything but "master_" and 32 lower-case hexadecimal digits under "jobId".
void validateJobId(const Json& arguments);

/// Refuses anything but 24 lower-case hexadecimal digits under "sampleId".
void validateSampleId(const Json& arguments);

/// Refuses a call in which "confirm" is not true.
void requireConfirmation(const Json& arguments);

}  // namespace brindlevane::BrindlevaneMCP
