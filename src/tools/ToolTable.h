#pragma once

#include "platform/HttpTransport.h"
#include "platform/Json.h"
#include "tools/Arguments.h"

#include <optional>
#include <string>
#include <vector>

namespace brindlevane::BrindlevaneMCP {

/// What a tool does to the Live project, the transport or a capture. All but the first need the
/// user's confirmation.
enum class Effect {
  reads,
  writes,      ///< calling again with the same arguments changes nothing more
  writesAnew,  ///< each call does it once more
};

/// The one request that carries a tool call to the bridge.
struct Request {
  std::string method;  ///< "GET", without a body, or "POST"
  std::string path;
  Seconds timeout{0};
  Json fixed = Json::object();  ///< members of the body whatever the arguments hold
};

/// All there is to know of a tool.
struct Tool {
  std::string name;
  std::string description;
  Effect effect = Effect::reads;
  std::optional<Request> request;   ///< nothing when its work is more than one request
  std::vector<Argument> arguments;  ///< in the order in which they are checked, but "confirm"
};

/// The product's 28 tools in the order in which they are offered, built once on first use.
[[nodiscard]] const std::vector<Tool>& toolTable();

/// The tool of this name, spelled exactly so.
///
/// @throws MCPServerError  invalidArguments: there is none
[[nodiscard]] const Tool& toolNamed(const std::string& name);

}  // namespace brindlevane::BrindlevaneMCP
