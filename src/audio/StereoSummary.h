#pragma once

#include "audio/ChannelSums.h"

#include <optional>

namespace brindlevane::LocalAudioAnalyzer {

/// How the first two channels of a segment relate; both present or both absent.
struct StereoSummary {
  std::optional<double> correlation;  ///< -1 to 1; 1 when a channel is constant
  std::optional<double> width;        ///< level of the sides over the middle, percent, 0 to 400
};

/// @return nothing in it for fewer than two channels, or two of different lengths; samples that are
///     not finite leave correlation 1 and width 0
[[nodiscard]] StereoSummary stereoSummary(const ChannelSums& sums);

}  // namespace brindlevane::LocalAudioAnalyzer
