#include "audio/StereoSummary.h"

#include "audio/SignalMath.h"
#include "platform/VectorClones.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr double kWidestPercent = 400;

}  // namespace

BRINDLEVANE_VECTOR_CLONES void StereoMeter::add(std::span<const float> interleaved) {
  if (channelCount_ < 2) {
    return;
  }
  const std::size_t frames = interleaved.size() / channelCount_;
  // Deviations from a frame of the block's own: a channel's direct current cancels nothing, and one
  // that is constant leaves exactly 0.
  const double leftBase = interleaved[0];
  const double rightBase = interleaved[1];
  PartialSums leftSum = {};
  PartialSums rightSum = {};
  PartialSums leftSquares = {};
  PartialSums rightSquares = {};
  PartialSums products = {};
  PartialSums mid = {};
  PartialSums side = {};
  addInParts(frames, [&](std::size_t i, std::size_t part) {
    const double left = interleaved[i * channelCount_];
    const double right = interleaved[i * channelCount_ + 1];
    mid[part] += (left + right) * (left + right);
    side[part] += (left - right) * (left - right);
    const double l = left - leftBase;
    const double r = right - rightBase;
    leftSum[part] += l;
    rightSum[part] += r;
    leftSquares[part] += l * l;
    rightSquares[part] += r * r;
    products[part] += l * r;
  });
  const auto count = static_cast<double>(frames);
  const double leftMean = total(leftSum) / count;
  const double rightMean = total(rightSum) / count;
  const double all = count_ + count;
  const double leftStep = leftBase + leftMean - leftMean_;
  const double rightStep = rightBase + rightMean - rightMean_;
  const double weight = count_ * count / all;
  leftVariance_ += total(leftSquares) - count * leftMean * leftMean + leftStep * leftStep * weight;
  rightVariance_ +=
      total(rightSquares) - count * rightMean * rightMean + rightStep * rightStep * weight;
  covariance_ += total(products) - count * leftMean * rightMean + leftStep * rightStep * weight;
  leftMean_ += leftStep * count / all;
  rightMean_ += rightStep * count / all;
  midPower_ += total(mid);
  sidePower_ += total(side);
  count_ = all;
}

StereoSummary StereoMeter::result() const {
  if (channelCount_ < 2) {
    return {};
  }
  const double divisor = std::sqrt(leftVariance_ * rightVariance_);
  const double correlation = covariance_ / divisor;
  const double width = std::sqrt(sidePower_ / midPower_) * 100;
  return {divisor > 0 && !std::isnan(correlation) ? std::clamp(correlation, -1.0, 1.0) : 1,
          midPower_ > 0 && !std::isnan(width) ? std::min(width, kWidestPercent) : 0};
}

}  // namespace brindlevane::LocalAudioAnalyzer
