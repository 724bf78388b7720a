#pragma once

#include "platform/HttpTransport.h"
#include "platform/Json.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace brindlevane {

/// Writes one member of a request's body from a call's arguments, which have been checked.
using BodyField = std::function<void(const Json& arguments, Json& body)>;

/// The one request that carries a tool call to the bridge.
struct Route {
  std::string method;
  std::string path;
  Seconds timeout{0};
  std::vector<BodyField> body;  ///< for "POST"; a "GET" has no body

  /// The request's JSON object; nothing for a "GET".
  [[nodiscard]] std::optional<Json> payload(const Json& arguments) const;
};

/// The route of a tool; nothing for one that works otherwise.
[[nodiscard]] const Route* routeOf(const std::string& tool);

/// The names of all tools that have a route.
[[nodiscard]] std::vector<std::string> toolsWithRoutes();

}  // namespace brindlevane
