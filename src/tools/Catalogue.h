#pragma once

#include "platform/Json.h"

#include <string>
#include <vector>

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

}  // namespace brindlevane::BrindlevaneMCP
