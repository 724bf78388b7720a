#include "bridge/BrindlevaneBridgeCompatibility.h"

#include "contract/MCPServerError.h"

#include <algorithm>
#include <optional>
#include <tuple>

namespace brindlevane::BrindlevaneBridgeCompatibility {
namespace {

constexpr Seconds kHealthTimeout{6};

/// What versions are compared by: a run of digits by its length and its digits, without leading
/// zeros, any other character by itself.
using Part = std::tuple<std::string_view, std::size_t, std::string_view>;

/// Takes the first part off a version that is not empty.
Part takePart(std::string_view& version) {
  std::string_view number = version.substr(0, version.find_first_not_of("0123456789"));
  if (number.empty()) {
    const Part character = {version.substr(0, 1), 0, ""};
    version.remove_prefix(1);
    return character;
  }
  version.remove_prefix(number.size());
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  return {"0", number.size(), number};
}

bool isOlder(std::string_view version, std::string_view other) {
  while (!version.empty() && !other.empty()) {
    const Part left = takePart(version);
    const Part right = takePart(other);
    if (left != right) {
      return left < right;
    }
  }
  return !other.empty();
}

}  // namespace

const std::set<std::string>& requiredCapabilities() {
  static const std::set<std::string> kRequired = {
      "project.analyze",        "mix_prep.analyze",        "context.live",
      "key.source.audio",       "key.source.midi",         "tracks.create.midi",
      "clips.create.midi",      "clips.notes.replace",     "clips.notes.evolve",
      "arrangement.build.club", "arrangement.build.undo",  "samples.library.search",
      "samples.library.import", "devices.parameters.read", "devices.parameters.write",
      "tracks.sends.write",     "tracks.semantic_rename",  "clips.color.sync"};
  return kRequired;
}

bool supports(std::string_view version, const std::vector<std::string>& capabilities) {
  const std::set<std::string> offered(capabilities.begin(), capabilities.end());
  return !isOlder(version, minimumVersion) &&
         std::ranges::includes(offered, requiredCapabilities());
}

void requireCompatibleBridge(const MCPBridgeClient& bridge) {
  const Json health = bridge.request("/v1/health", "GET", std::nullopt, kHealthTimeout);
  std::string version;
  std::vector<std::string> capabilities;
  try {
    health.at("bridgeVersion").get_to(version);
    health.at("capabilities").get_to(capabilities);
  } catch (const Json::exception&) {
    throw MCPServerError::invalidBridgeResponse();
  }
  if (!supports(version, capabilities)) {
    throw MCPServerError::bridgeIncompatible(
        "BrindlevaneBridge " + version +
        " is outdated. Open Brindlevane, reinstall the Ableton bridge, save the project and "
        "restart Ableton before using Brindlevane actions.");
  }
}

}  // namespace brindlevane::BrindlevaneBridgeCompatibility
