#include "tools/Catalogue.h"

#include "tools/ToolTable.h"

#include <algorithm>

namespace brindlevane::BrindlevaneMCP {
namespace {

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

}  // namespace brindlevane::BrindlevaneMCP
