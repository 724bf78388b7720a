#include "contract/ToolResult.h"

#include "contract/MCPServerError.h"

#include <string_view>
#include <utility>

namespace brindlevane {
namespace {

constexpr std::string_view kBeforeText = R"(,"content":[{"text":)";
constexpr std::string_view kAfterText = R"(,"type":"text"}]})";

}  // namespace

ToolResult toolResult(Json value, bool isError) {
  if (!value.is_object()) {
    value = {{"value", std::move(value)}};
  }
  return {std::move(value), isError};
}

ToolResult errorResult(const std::string& type, const std::string& message) {
  return toolResult({{"error", {{"type", type}, {"message", message}}}}, true);
}

void appendToolResult(std::string& out, const ToolResult& result, std::size_t longest) {
  const std::size_t start = out.size();
  out += R"({"isError":)";
  out += result.isError ? "true" : "false";
  out += R"(,"structuredContent":)";
  const std::size_t textLength = appendMeasuredJson(out, result.structuredContent);
  const std::size_t end = out.size() + kBeforeText.size() + textLength + kAfterText.size();
  if (end - start > longest) {
    out.resize(start);
    return appendToolResult(
        out,
        errorResult("MCPServerError", MCPServerError::invalidBridgeResponse().errorDescription));
  }
  // A long line is dear to move when it grows, be it by the two characters that end it.
  out.reserve(end + 2);
  out += kBeforeText;
  appendPrettyJsonString(out, result.structuredContent);
  out += kAfterText;
}

}  // namespace brindlevane
