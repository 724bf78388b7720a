#pragma once

#include "platform/Json.h"

#include <string>

namespace brindlevane {

/// The answer to every tool call, success or failure. Its text form is printed from
/// `structuredContent` when it is written, so a large answer is held once.
struct ToolResult {
  Json structuredContent;  ///< an object
  bool isError = false;
};

/// A result whose structured form is the value, or {"value": value} when that is no object.
[[nodiscard]] ToolResult toolResult(Json value, bool isError);

/// The result of a failed call.
///
/// @param type     the name of the error's type
/// @param message  what its reader sees
[[nodiscard]] ToolResult errorResult(const std::string& type, const std::string& message);

/// Appends the result as a JSON object: "content" with the pretty-printed structured form as its
/// one text item, "structuredContent" and "isError".
///
/// @see Model Context Protocol, revision 2025-06-18, "Tools", "Tool Result".
void appendToolResult(std::string& out, const ToolResult& result);

}  // namespace brindlevane
