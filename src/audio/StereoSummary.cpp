#include "audio/StereoSummary.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr double kWidestPercent = 400;

}  // namespace

StereoSummary stereoSummary(const ChannelSums& sums) {
  if (!sums.isStereo) {
    return {};
  }
  const ChannelSums::Stereo& stereo = sums.stereo;
  const double divisor = std::sqrt(stereo.leftVariance * stereo.rightVariance);
  const double correlation = stereo.covariance / divisor;
  const double width = std::sqrt(stereo.sidePower / stereo.midPower) * 100;
  return {divisor > 0 && !std::isnan(correlation) ? std::clamp(correlation, -1.0, 1.0) : 1,
          stereo.midPower > 0 && !std::isnan(width) ? std::min(width, kWidestPercent) : 0};
}

}  // namespace brindlevane::LocalAudioAnalyzer
