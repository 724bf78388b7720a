#include "tools/ArgumentReaders.h"

#include "contract/MCPServerError.h"
#include "platform/JsonMembers.h"
#include "platform/Text.h"

#include <cmath>
#include <string_view>

namespace brindlevane::BrindlevaneMCP {
namespace {

bool isLowerHex(std::string_view text, std::size_t digits) {
  return text.size() == digits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

std::string string(const Json& arguments, const std::string& key, std::size_t maximumLength) {
  const std::string* const given = stringAt(arguments, key);
  if (given == nullptr) {
    throw MCPServerError::invalidArguments(key + " must be a string.");
  }
  const std::string_view text = trimmed(*given);
  if (text.empty() || hasMoreCharactersThan(maximumLength, text)) {
    throw MCPServerError::invalidArguments(key + " must contain 1 to " +
                                           std::to_string(maximumLength) + " characters.");
  }
  return std::string(text);
}

const Json& number(const Json& arguments, const std::string& key) {
  const Json* const given = numberAt(arguments, key);
  if (given == nullptr) {
    throw MCPServerError::invalidArguments(key + " must be a number.");
  }
  return *given;
}

std::int64_t integer(const Json& arguments, const std::string& key) {
  const Json& value = number(arguments, key);
  const auto asDouble = value.get<double>();
  // 2^63, the first number that a signed 64-bit integer cannot hold. An integer from there on turns
  // into a negative one; as a double, one just below it would round up to it.
  constexpr double kLimit = 9223372036854775808.0;
  const bool fits = value.is_number_float()
                        ? asDouble >= 0 && asDouble < kLimit && std::trunc(asDouble) == asDouble
                        : value.get<std::int64_t>() >= 0;
  if (!fits) {
    throw MCPServerError::invalidArguments(key + " must be a non-negative integer.");
  }
  return value.get<std::int64_t>();
}

void validateJobId(const Json& arguments) {
  constexpr std::string_view kPrefix = "master_";
  const std::string id = string(arguments, "jobId", kLongestJobId);
  if (!id.starts_with(kPrefix) || !isLowerHex(std::string_view(id).substr(kPrefix.size()), 32)) {
    throw MCPServerError::invalidArguments("jobId is not a valid Brindlevane master-listen id.");
  }
}

void validateSampleId(const Json& arguments) {
  if (!isLowerHex(string(arguments, "sampleId", kLongestSampleId), 24)) {
    throw MCPServerError::invalidArguments("sampleId must come from brindlevane_search_samples.");
  }
}

void requireConfirmation(const Json& arguments) {
  const Json* const confirm = memberAt(arguments, "confirm");
  if (confirm == nullptr || *confirm != true) {
    throw MCPServerError::invalidArguments(
        "Explicit user confirmation is required. Ask the user, then call again with "
        "confirm=true.");
  }
}

}  // namespace brindlevane::BrindlevaneMCP
