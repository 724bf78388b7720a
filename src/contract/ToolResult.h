#pragma once

#include "platform/Json.h"

#include <cstddef>
#include <string>

namespace brindlevane {

/// A result may take this many bytes. Indentation can make a thousand bytes of one of the bridge's;
/// no Live set comes near.
inline constexpr std::size_t kLongestToolResult = std::size_t{256} << 20U;

/// The answer to every tool call, success or failure. Its text form is printed from
/// `structuredContent` when it is written, so a large answer is held once.
struct ToolResult {
  Json structuredContent;  ///< an object
  bool isError = false;
};

/// A result whose structured form is the value, or {"value": value} when that is no object.
[[nodiscard]] ToolResult toolResult(Json value, bool isError = false);

/// The result of a failed call.
///
/// @param type     the name of the error's type
/// @param message  what its reader sees
[[nodiscard]] ToolResult errorResult(const std::string& type, const std::string& message);

/// Appends the result as a JSON object: "content" with the pretty-printed structured form as its
/// one text item, "structuredContent" and "isError". One that would be longer than `longest` bytes
/// is not printed: the failed call's takes its place, MCPServerError's invalidBridgeResponse.
///
/// @see Model Context Protocol, revision 2025-06-18, "Tools", "Tool Result".
void appendToolResult(std::string& out, const ToolResult& result,
                      std::size_t longest = kLongestToolResult);

}  // namespace brindlevane
