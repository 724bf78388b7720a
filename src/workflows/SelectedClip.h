#pragma once

#include "bridge/MCPBridgeClient.h"
#include "platform/Json.h"

#include <optional>
#include <string>
#include <vector>

namespace brindlevane {

/// What the bridge tells of the clip that is selected in Live. What it leaves out, or gives in
/// another type, has its default.
struct SelectedClip {
  std::string kind;                     ///< "audio" or "midi" where the bridge keeps its word
  std::optional<std::string> filePath;  ///< source of an audio clip
  std::optional<std::vector<double>> pitchClasses;  ///< of a MIDI clip, all numbers, C first
  double transposeSemitones = 0;
  double startSeconds = 0;  ///< where the clip begins in its source
  std::optional<double> durationSeconds;
  Json labels;  ///< "track", "clip", "project" and "revision", for the assistant
};

/// Asks the bridge for the selected clip; nothing when its answer is no object.
///
/// @throws MCPServerError  those of the request
[[nodiscard]] std::optional<SelectedClip> selectedClip(const MCPBridgeClient& bridge);

}  // namespace brindlevane
