#include "bridge/BrindlevaneBridgeCompatibility.h"

#include "contract/MCPServerError.h"
#include "platform/JsonMembers.h"

#include <algorithm>
#include <compare>
#include <optional>

namespace brindlevane::BrindlevaneBridgeCompatibility {
namespace {

constexpr Seconds kHealthTimeout{6};
constexpr std::string_view kDigits = "0123456789";

/// Takes the run of digits off the front of the text, without its leading zeros.
std::string_view takeNumber(std::string_view& text) {
  std::string_view run = text.substr(0, text.find_first_not_of(kDigits));
  text.remove_prefix(run.size());
  run.remove_prefix(std::min(run.find_first_not_of('0'), run.size()));
  return run;
}

bool startsWithDigit(std::string_view text) {
  return !text.empty() && kDigits.find(text.front()) != std::string_view::npos;
}

std::strong_ordering compareNumerically(std::string_view left, std::string_view right) {
  while (!left.empty() && !right.empty()) {
    auto order = std::strong_ordering::equal;
    if (startsWithDigit(left) && startsWithDigit(right)) {
      const std::string_view leftRun = takeNumber(left);
      const std::string_view rightRun = takeNumber(right);
      order = leftRun.size() <=> rightRun.size();
      if (order == std::strong_ordering::equal) {
        order = leftRun <=> rightRun;
      }
    } else {
      order = left.substr(0, 1) <=> right.substr(0, 1);
      left.remove_prefix(1);
      right.remove_prefix(1);
    }
    if (order != std::strong_ordering::equal) {
      return order;
    }
  }
  return left.size() <=> right.size();
}

/// The strings of an array; nothing when there is none or it holds anything else.
std::optional<std::vector<std::string>> stringsAt(const Json& object, const char* key) {
  const Json* const list = memberAt(object, key);
  const bool areStrings =
      list != nullptr && list->is_array() &&
      std::all_of(list->begin(), list->end(), [](const Json& e) { return e.is_string(); });
  return areStrings ? std::optional(list->get<std::vector<std::string>>()) : std::nullopt;
}

}  // namespace

const std::set<std::string, std::less<>>& requiredCapabilities() {
  static const std::set<std::string, std::less<>> kRequired = {
      "project.analyze",        "mix_prep.analyze",        "context.live",
      "key.source.audio",       "key.source.midi",         "tracks.create.midi",
      "clips.create.midi",      "clips.notes.replace",     "clips.notes.evolve",
      "arrangement.build.club", "arrangement.build.undo",  "samples.library.search",
      "samples.library.import", "devices.parameters.read", "devices.parameters.write",
      "tracks.sends.write",     "tracks.semantic_rename",  "clips.color.sync"};
  return kRequired;
}

bool supports(std::string_view version, const std::vector<std::string>& capabilities) {
  if (compareNumerically(version, minimumVersion) < 0) {
    return false;
  }
  const std::set<std::string_view> offered(capabilities.begin(), capabilities.end());
  return std::all_of(requiredCapabilities().begin(), requiredCapabilities().end(),
                     [&](const std::string& needed) { return offered.contains(needed); });
}

void requireCompatibleBridge(const MCPBridgeClient& bridge) {
  const Json health = bridge.request("/v1/health", "GET", std::nullopt, kHealthTimeout);
  const std::string* const version = stringAt(health, "bridgeVersion");
  const auto capabilities = stringsAt(health, "capabilities");
  if (version == nullptr || !capabilities) {
    throw MCPServerError::invalidBridgeResponse();
  }
  if (!supports(*version, *capabilities)) {
    throw MCPServerError::bridgeIncompatible(
        "BrindlevaneBridge " + *version +
        " is outdated. Open Brindlevane, reinstall the Ableton bridge, save the project and "
        "restart Ableton before using Brindlevane actions.");
  }
}

}  // namespace brindlevane::BrindlevaneBridgeCompatibility
