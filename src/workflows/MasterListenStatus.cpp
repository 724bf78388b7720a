#include "workflows/MasterListenStatus.h"

#include "contract/MCPServerError.h"
#include "listening/LocalAudioAnalyzer.h"
#include "platform/JsonMembers.h"
#include "tools/ArgumentReaders.h"

#include <exception>
#include <string>

namespace brindlevane::BrindlevaneMCP {
namespace {

constexpr Seconds kTimeout{6};

const std::string& requiredString(const Json& status, const char* key) {
  const std::string* const text = stringAt(status, key);
  if (text == nullptr) {
    throw MCPServerError::invalidBridgeResponse();
  }
  return *text;
}

/// @return whether the bridge removed the temporary track
bool cleanUp(const MCPBridgeClient& bridge, const std::string& jobId) {
  try {
    (void)bridge.request("/v1/master-capture/cleanup", "POST",
                         Json{{"jobId", jobId}, {"confirm", true}}, kTimeout);
    return true;
  } catch (const std::exception&) {
    // What was measured holds all the same; a track left behind is worth a warning, not a failure.
    return false;
  }
}

Json measured(const MCPBridgeClient& bridge, const std::string& jobId, const Json& status,
              const Listener& listener) {
  Json result =
      LocalAudioAnalyzer::analyze(requiredString(status, "filePath"), 0, 0, std::nullopt, listener)
          .dictionary();
  result["scope"] = "renderedMasterResampling";
  result["measurementNotice"] =
      "Mesure locale de la sortie master réellement rendue par Ableton pendant la capture "
      "Resampling, avec devices, retours et traitements master actifs.";
  result["capture"] = status;
  const bool isRemoved = cleanUp(bridge, jobId);
  result["temporaryTrackRemoved"] = isRemoved;
  if (!isRemoved) {
    result["cleanupWarning"] =
        "La mesure est valide, mais la piste temporaire doit être supprimée manuellement.";
  }
  return result;
}

}  // namespace

ToolResult masterListenStatus(const MCPBridgeClient& bridge, const Json& arguments,
                              const Listener& listener) {
  const std::string jobId = string(arguments, "jobId", kLongestJobId);
  const Json status =
      bridge.request("/v1/master-capture/status", "POST", Json{{"jobId", jobId}}, kTimeout);
  const std::string& state = requiredString(status, "status");
  if (state == "failed") {
    (void)cleanUp(bridge, jobId);
    return toolResult(status, /*isError=*/true);
  }
  return toolResult(state == "ready" ? measured(bridge, jobId, status, listener) : status);
}

}  // namespace brindlevane::BrindlevaneMCP
