#pragma once

#include <string>

namespace brindlevane {

/// An estimated musical key.
struct KeyDetection {
  std::string key;             ///< note name with sharps (U+266F), a space, "major" or "minor"
  double confidence = 0;       ///< 0.43 to 0.96
  double analyzedSeconds = 0;  ///< seconds of audio behind the estimate; 0 for a MIDI profile
};

}  // namespace brindlevane
