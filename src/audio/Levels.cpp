#include "audio/Levels.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr float kClippingThreshold = 0.999F;
constexpr double kAmplitudeFloor = 0.000001;
constexpr double kDecibelFloor = -120;
constexpr double kWindowSeconds = 0.4;
constexpr std::int64_t kShortestWindow = 512;
constexpr float kWindowSilenceFloor = 1e-10F;
constexpr double kWidestRangeDb = 60;

}  // namespace

void LevelMeter::add(std::span<const float> samples) {
  const Sums sums = sumsOf(samples);
  // The squares of finite samples do not exceed a double.
  if (!std::isfinite(sums.squares)) {
    std::vector<float> finite;
    std::copy_if(samples.begin(), samples.end(), std::back_inserter(finite),
                 [](float sample) { return std::isfinite(sample); });
    add(finite);
    return;
  }
  count_ += samples.size();
  const float peak = peakOf(samples);
  peak_ = std::max(peak_, peak);
  if (peak >= kClippingThreshold) {
    clipped_ +=
        static_cast<std::size_t>(std::count_if(samples.begin(), samples.end(), [](float sample) {
          return std::fabs(sample) >= kClippingThreshold;
        }));
  }
  sums_.samples += sums.samples;
  sums_.squares += sums.squares;
}

Levels LevelMeter::result() const {
  if (count_ == 0) {
    return {};
  }
  const auto count = static_cast<double>(count_);
  return {peak_, std::sqrt(sums_.squares / count), sums_.samples / count,
          static_cast<double>(clipped_) * 100 / count};
}

double decibels(double amplitude) {
  return std::max(20 * std::log10(std::max(amplitude, kAmplitudeFloor)), kDecibelFloor);
}

std::vector<double> shortTermRMS(std::span<const float> mono, double sampleRate) {
  const auto window =
      static_cast<std::size_t>(std::max(framesIn(kWindowSeconds, sampleRate), kShortestWindow));
  std::vector<double> result;
  for (std::size_t start = 0; start + window <= mono.size(); start += window) {
    const auto power =
        static_cast<float>(sumOfSquares(mono.subspan(start, window)) / static_cast<double>(window));
    if (power > kWindowSilenceFloor) {
      result.push_back(std::sqrt(static_cast<double>(power)));
    }
  }
  return result;
}

double percentileDb(std::vector<double> amplitudes, double high, double low) {
  std::erase_if(amplitudes, [](double value) { return !std::isfinite(value) || !(value > 0); });
  if (amplitudes.size() < 2) {
    return 0;
  }
  std::sort(amplitudes.begin(), amplitudes.end());
  const auto levelAt = [&amplitudes](double fraction) {
    const double rank = static_cast<double>(amplitudes.size() - 1) * fraction;
    return decibels(amplitudes[static_cast<std::size_t>(rank)]);
  };
  return std::clamp(levelAt(high) - levelAt(low), 0.0, kWidestRangeDb);
}

std::vector<double> waveform(std::span<const float> mono, std::size_t points) {
  if (mono.empty()) {
    return {};
  }
  const std::size_t bucket = std::max<std::size_t>(mono.size() / points, 1);
  std::vector<double> result(points);
  for (std::size_t i = 0; i < points && i * bucket < mono.size(); ++i) {
    result[i] = peakOf(mono.subspan(i * bucket, bucket));
  }
  return result;
}

}  // namespace brindlevane::LocalAudioAnalyzer
