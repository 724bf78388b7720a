#include "workflows/FindKey.h"

#include "contract/MCPServerError.h"
#include "key/MusicalKeyAnalyzer.h"
#include "workflows/SelectedClip.h"

namespace brindlevane::BrindlevaneMCP {
namespace {

KeyDetection detected(const SelectedClip& clip) {
  if (clip.kind == "audio" && clip.filePath) {
    return MusicalKeyAnalyzer::analyzeAudio(*clip.filePath, clip.transposeSemitones,
                                            clip.startSeconds, clip.durationSeconds);
  }
  if (clip.kind == "midi" && clip.pitchClasses) {
    return MusicalKeyAnalyzer::detect(*clip.pitchClasses, clip.transposeSemitones);
  }
  throw MCPServerError::invalidBridgeResponse();
}

}  // namespace

Json findKey(const MCPBridgeClient& bridge) {
  const std::optional<SelectedClip> clip = selectedClip(bridge);
  if (!clip) {
    throw MCPServerError::invalidBridgeResponse();
  }
  const KeyDetection detection = detected(*clip);
  Json result = clip->labels;
  result["kind"] = clip->kind;
  result["key"] = detection.key;
  result["confidence"] = detection.confidence;
  result["analyzedSeconds"] = detection.analyzedSeconds;
  return result;
}

}  // namespace brindlevane::BrindlevaneMCP
