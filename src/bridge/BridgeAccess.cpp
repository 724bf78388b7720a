#include "bridge/BridgeAccess.h"

#include "platform/Files.h"

namespace brindlevane {
namespace {

/// The file holds two short strings; what is longer is cut, and so no configuration.
constexpr std::size_t kLongestConfiguration = std::size_t{1} << 20U;

std::optional<std::string> readInstalledConfiguration() {
  const auto folder = applicationSupportFolder();
  return folder ? readRegularFile(*folder / "Brindlevane" / "bridge.json", kLongestConfiguration)
                : std::nullopt;
}

}  // namespace

BridgeAccess installedBridge() {
  return {readInstalledConfiguration, exchangeOverTcp};
}

}  // namespace brindlevane
