#include "audio/StereoSummary.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr double kWidestPercent = 400;

struct StereoSums {
  double covariance = 0;
  double leftVariance = 0;
  double rightVariance = 0;
  double mid = 0;
  double side = 0;
};

StereoSums sumsOf(std::span<const float> left, std::span<const float> right) {
  double leftMean = 0;
  double rightMean = 0;
  for (std::size_t i = 0; i < left.size(); ++i) {
    leftMean += left[i];
    rightMean += right[i];
  }
  leftMean /= static_cast<double>(left.size());
  rightMean /= static_cast<double>(right.size());
  StereoSums sums;
  for (std::size_t i = 0; i < left.size(); ++i) {
    const double l = left[i];
    const double r = right[i];
    sums.covariance += (l - leftMean) * (r - rightMean);
    sums.leftVariance += (l - leftMean) * (l - leftMean);
    sums.rightVariance += (r - rightMean) * (r - rightMean);
    sums.mid += ((l + r) * 0.5) * ((l + r) * 0.5);
    sums.side += ((l - r) * 0.5) * ((l - r) * 0.5);
  }
  return sums;
}

}  // namespace

StereoSummary stereoSummary(const Channels& channels) {
  if (channels.size() < 2 || channels[0].size() != channels[1].size()) {
    return {};
  }
  const StereoSums sums = sumsOf(channels[0], channels[1]);
  const double divisor = std::sqrt(sums.leftVariance * sums.rightVariance);
  const double correlation = sums.covariance / divisor;
  const double width = std::sqrt(sums.side / sums.mid) * 100;
  return {divisor > 0 && !std::isnan(correlation) ? std::clamp(correlation, -1.0, 1.0) : 1,
          sums.mid > 0 && !std::isnan(width) ? std::min(width, kWidestPercent) : 0};
}

}  // namespace brindlevane::LocalAudioAnalyzer
