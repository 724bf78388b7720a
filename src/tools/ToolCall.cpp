#include "tools/ToolCall.h"

#include "contract/MCPServerError.h"
#include "tools/ArgumentReaders.h"

namespace brindlevane::BrindlevaneMCP {

void validateArguments(const std::string& name, const Json& arguments) {
  const Tool& tool = toolNamed(name);
  if (tool.effect != Effect::reads) {
    requireConfirmation(arguments);
  } else if (tool.arguments.empty() && !arguments.empty()) {
    throw MCPServerError::invalidArguments("This tool does not accept arguments.");
  }
  for (const Argument& argument : tool.arguments) {
    if (!argument.isOptional || arguments.contains(argument.name)) {
      (void)argument.read(arguments);
    }
  }
}

std::optional<Json> requestBody(const Tool& tool, const Json& arguments) {
  if (tool.request->method == "GET") {
    return std::nullopt;
  }
  Json body = tool.request->fixed;
  for (const Argument& argument : tool.arguments) {
    if (!argument.isOptional || arguments.contains(argument.name)) {
      body[argument.name] = argument.read(arguments);
    }
  }
  return body;
}

}  // namespace brindlevane::BrindlevaneMCP
