#include "workflows/FindKey.h"

#include "contract/MCPServerError.h"
#include "key/KeyProfiles.h"
#include "listening/MusicalKeyAnalyzer.h"
#include "workflows/SelectedClip.h"

namespace brindlevane::BrindlevaneMCP {
namespace {

KeyDetection detected(const SelectedClip& clip, const Listener& listener) {
  if (clip.kind == "audio" && clip.filePath) {
    return MusicalKeyAnalyzer::analyzeAudio(*clip.filePath, clip.transposeSemitones,
                                            clip.startSeconds, clip.durationSeconds, listener);
  }
  if (clip.kind == "midi" && clip.pitchClasses) {
    return MusicalKeyAnalyzer::detect(*clip.pitchClasses, clip.transposeSemitones);
  }
  throw MCPServerError::invalidBridgeResponse();
}

}  // namespace

Json findKey(const MCPBridgeClient& bridge, const Listener& listener) {
  const std::optional<SelectedClip> clip = selectedClip(bridge);
  if (!clip) {
    throw MCPServerError::invalidBridgeResponse();
  }
  const KeyDetection detection = detected(*clip, listener);
  Json result = clip->labels;
  result["kind"] = clip->kind;
  result["key"] = detection.key;
  result["confidence"] = detection.confidence;
  result["analyzedSeconds"] = detection.analyzedSeconds;
  return result;
}

}  // namespace brindlevane::BrindlevaneMCP
