#include "audio/StereoSummary.h"

#include "audio/SignalMath.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr double kWidestPercent = 400;

}  // namespace

void StereoMeter::add(std::span<const float> interleaved) {
  const std::size_t frames = interleaved.size() / channelCount_;
  if (channelCount_ < 2 || frames == 0) {
    return;
  }
  const auto left = [&](std::size_t i) { return double{interleaved[i * channelCount_]}; };
  const auto right = [&](std::size_t i) { return double{interleaved[i * channelCount_ + 1]}; };
  PartialSums leftSum = {};
  PartialSums rightSum = {};
  PartialSums mid = {};
  PartialSums side = {};
  addInParts(frames, [&](std::size_t i, std::size_t part) {
    const double l = left(i);
    const double r = right(i);
    leftSum[part] += l;
    rightSum[part] += r;
    mid[part] += (l + r) * (l + r);
    side[part] += (l - r) * (l - r);
  });
  const auto count = static_cast<double>(frames);
  const double leftMean = total(leftSum) / count;
  const double rightMean = total(rightSum) / count;
  PartialSums leftVariance = {};
  PartialSums rightVariance = {};
  PartialSums covariance = {};
  addInParts(frames, [&](std::size_t i, std::size_t part) {
    const double l = left(i) - leftMean;
    const double r = right(i) - rightMean;
    leftVariance[part] += l * l;
    rightVariance[part] += r * r;
    covariance[part] += l * r;
  });
  const double all = count_ + count;
  const double leftStep = leftMean - leftMean_;
  const double rightStep = rightMean - rightMean_;
  const double weight = count_ * count / all;
  leftVariance_ += total(leftVariance) + leftStep * leftStep * weight;
  rightVariance_ += total(rightVariance) + rightStep * rightStep * weight;
  covariance_ += total(covariance) + leftStep * rightStep * weight;
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
