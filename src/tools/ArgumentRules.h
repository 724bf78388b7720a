#pragma once

#include "platform/Json.h"

#include <string>
#include <vector>

namespace brindlevane::BrindlevaneMCP {

/// Checks a call before anything is sent: the tool must exist and its arguments must keep its
/// rules, which are read in order.
///
/// @param arguments  an object
/// @throws MCPServerError  invalidArguments: says which rule was broken first
void validateArguments(const std::string& name, const Json& arguments);

/// The names of all tools that have rules.
[[nodiscard]] std::vector<std::string> toolsWithRules();

}  // namespace brindlevane::BrindlevaneMCP
