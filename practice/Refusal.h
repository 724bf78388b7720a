#pragma once

#include <stdexcept>
#include <string>
#include <utility>

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

}  // namespace brindlevane::practice
