#include "server/contract/ToolResult.h"

#include <cstddef>
#include <utility>

namespace brindlevane {

ToolResult toolResult(Json value, bool isError) {
  if (value.is_object()) {
    return {std::move(value), isError};
  }
  Json wrapped = Json::object();
  wrapped["value"] = std::move(value);
  return {std::move(wrapped), isError};
}

ToolResult errorResult(const std::string& type, const std::string& message) {
  return toolResult({{"error", {{"type", type}, {"message", message}}}}, true);
}

void appendToolResult(std::string& out, const ToolResult& result) {
  out += R"({"isError":)";
  out += result.isError ? "true" : "false";
  out += R"(,"structuredContent":)";
  const std::size_t start = out.size();
  appendJson(out, result.structuredContent);
  // The pretty text takes about twice the room, and a long line is dear to move when it grows.
  out.reserve(out.size() + 3 * (out.size() - start));
  out += R"(,"content":[{"text":)";
  appendPrettyJsonString(out, result.structuredContent);
  out += R"(,"type":"text"}]})";
}

}  // namespace brindlevane
