#include "tools/Catalogue.h"

#include "contract/MCPServerError.h"
#include "tools/ArgumentReaders.h"

#include <algorithm>

namespace brindlevane::BrindlevaneMCP {
namespace {

/// `properties` of a tool that takes nothing but the user's confirmation.
const Json& confirmationProperties() {
  static const Json kPiece = {
      {"confirm",
       {{"type", "boolean"},
        {"const", true},
        {"description",
         "Must be true only after the user explicitly approves this Ableton change."}}}};
  return kPiece;
}

Json descriptor(const Tool& row) {
  const bool isWriting = row.effect != Effect::reads;
  Json properties = isWriting ? confirmationProperties() : Json::object();
  std::vector<std::string> required;
  for (const Argument& argument : row.arguments) {
    properties[argument.name] = argument.schema;
    if (!argument.isOptional) {
      required.push_back(argument.name);
    }
  }
  // What the writing tools have in common is named last, wherever it is checked.
  std::stable_partition(required.begin(), required.end(),
                        [](const std::string& name) { return name != "expectedRevision"; });
  if (isWriting) {
    required.emplace_back("confirm");
  }
  return tool(row.name, row.description, properties, required, /*readOnly=*/!isWriting,
              /*idempotent=*/row.effect != Effect::writesAnew);
}

/// The arguments that are there, checked in order, as they are sent.
Json readArguments(const Tool& tool, const Json& arguments) {
  Json read = Json::object();
  for (const Argument& argument : tool.arguments) {
    if (!argument.isOptional || arguments.contains(argument.name)) {
      read[argument.name] = argument.read(arguments);
    }
  }
  return read;
}

}  // namespace

Json tool(const std::string& name, const std::string& description, const Json& properties,
          const std::vector<std::string>& required, bool readOnly, bool idempotent) {
  return {{"name", name},
          {"description", description},
          {"inputSchema",
           {{"type", "object"},
            {"properties", properties},
            {"required", required},
            {"additionalProperties", false}}},
          {"annotations",
           {{"readOnlyHint", readOnly},
            {"destructiveHint", false},
            {"idempotentHint", idempotent},
            {"openWorldHint", false}}}};
}

Json tools() {
  Json descriptors = Json::array();
  for (const Tool& row : toolTable()) {
    descriptors.push_back(descriptor(row));
  }
  return descriptors;
}

void validateArguments(const std::string& name, const Json& arguments) {
  const Tool& tool = toolNamed(name);
  if (tool.effect != Effect::reads) {
    requireConfirmation(arguments);
  } else if (tool.arguments.empty() && !arguments.empty()) {
    throw MCPServerError::invalidArguments("This tool does not accept arguments.");
  }
  (void)readArguments(tool, arguments);
}

std::optional<Json> requestBody(const Tool& tool, const Json& arguments) {
  if (tool.request->method == "GET") {
    return std::nullopt;
  }
  Json body = tool.request->fixed;
  body.update(readArguments(tool, arguments));
  return body;
}

}  // namespace brindlevane::BrindlevaneMCP
