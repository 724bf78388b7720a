#pragma once

#include "platform/Json.h"
#include "tools/ToolTable.h"

#include <optional>
#include <string>
#include <vector>

/// What follows from the rows of the table.
namespace brindlevane::BrindlevaneMCP {

/// One tool's descriptor: "name", "description", "inputSchema" and "annotations".
///
/// @param properties  an object from argument name to its schema
/// @param required    the arguments that a call must hold
/// @see Model Context Protocol, revision 2025-06-18, "Tools", "Tool".
[[nodiscard]] Json tool(const std::string& name, const std::string& description,
                        const Json& properties, const std::vector<std::string>& required,
                        bool readOnly, bool idempotent);

/// The product's 28 tools in the order in which they are offered.
[[nodiscard]] Json tools();

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
