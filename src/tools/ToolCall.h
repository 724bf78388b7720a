#pragma once

#include "platform/Json.h"
#include "tools/ToolTable.h"

#include <optional>
#include <string>

namespace brindlevane::BrindlevaneMCP {

/// Checks a call before anything is sent: the tool must exist and its arguments must keep its
/// rules, which are read in order.
///
/// @param arguments  an object
/// @throws MCPServerError  invalidArguments: says which rule was broken first
void validateArguments(const std::string& name, const Json& arguments);

/// The body of the request that carries a call to the bridge: what the request always says, and of
/// the arguments those that are there.
///
/// @param tool       has a request
/// @param arguments  have passed validateArguments
/// @return a JSON object; nothing for a "GET"
[[nodiscard]] std::optional<Json> requestBody(const Tool& tool, const Json& arguments);

}  // namespace brindlevane::BrindlevaneMCP
