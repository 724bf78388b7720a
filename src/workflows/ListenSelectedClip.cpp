#include "workflows/ListenSelectedClip.h"

#include "contract/MCPServerError.h"
#include "listening/LocalAudioAnalyzer.h"
#include "workflows/SelectedClip.h"

namespace brindlevane::BrindlevaneMCP {

Json listenSelectedClip(const MCPBridgeClient& bridge, const Listener& listener) {
  const std::optional<SelectedClip> clip = selectedClip(bridge);
  if (!clip || clip->kind != "audio" || !clip->filePath) {
    throw MCPServerError::invalidArguments(
        "Select an audio clip in Ableton before asking Brindlevane to listen. MIDI clips do not "
        "contain audio to decode.");
  }
  Json result = LocalAudioAnalyzer::analyze(*clip->filePath, clip->transposeSemitones,
                                            clip->startSeconds, clip->durationSeconds, listener)
                    .dictionary();
  result.update(clip->labels);
  return result;
}

}  // namespace brindlevane::BrindlevaneMCP
