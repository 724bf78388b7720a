#pragma once

#include "platform/Json.h"

#include <stdexcept>
#include <string>

namespace brindlevane::practice {

/// A request that the practice bridge turns down; what() is the message of its answer.
class Refusal : public std::runtime_error {
 public:
  /// @param httpStatus   400 or more
  /// @param machineCode  upper-case words joined by underscores
  Refusal(int httpStatus, std::string machineCode, const std::string& message)
      : std::runtime_error(message), status(httpStatus), code(std::move(machineCode)) {}

  const int status;
  const std::string code;
};

/// The whole number under `key`, below `limit`; 3.0 counts as 3.
/// @param what  names the things that are counted, for the message: "tracks"
/// @throws Refusal  INVALID_INDEX
[[nodiscard]] std::size_t indexIn(const Json& body, const std::string& key, std::size_t limit,
                                  const std::string& what);

/// The number under `key`, from `minimum` to `maximum`.
/// @throws Refusal  INVALID_ARGUMENT
[[nodiscard]] double numberIn(const Json& body, const std::string& key, double minimum,
                              double maximum);

/// The string under `key`, not empty.
/// @throws Refusal  INVALID_ARGUMENT
[[nodiscard]] std::string textIn(const Json& body, const std::string& key);

/// The string under `key`, or `fallback` where the key is absent.
/// @throws Refusal  INVALID_ARGUMENT
[[nodiscard]] std::string textIn(const Json& body, const std::string& key,
                                 const std::string& fallback);

/// The number as people write it: 128, -6.5.
[[nodiscard]] std::string shortNumber(double value);

/// A random number of `digits` lower-case hexadecimal digits.
[[nodiscard]] std::string randomHex(std::size_t digits);

}  // namespace brindlevane::practice
