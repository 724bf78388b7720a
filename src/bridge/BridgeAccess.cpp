#include "bridge/BridgeAccess.h"

#include "platform/Folders.h"
#include "platform/RegularFile.h"

namespace brindlevane {
namespace {

/// The file holds two short strings, so one beyond this size is something else.
constexpr std::size_t kLongestConfiguration = std::size_t{1} << 20U;

std::optional<std::string> readInstalledConfiguration() {
  const auto folder = applicationSupportFolder();
  if (!folder) {
    return std::nullopt;
  }
  auto text = readRegularFile(*folder + "/Brindlevane/bridge.json", kLongestConfiguration + 1);
  return text && text->size() > kLongestConfiguration ? "" : text;
}

}  // namespace

BridgeAccess installedBridge() {
  return {readInstalledConfiguration, exchangeOverTcp};
}

}  // namespace brindlevane
