#include "audio/Levels.h"

#include "audio/SignalMath.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr double kAmplitudeFloor = 0.000001;
constexpr double kDecibelFloor = -120;
constexpr double kWindowSeconds = 0.4;
constexpr std::int64_t kShortestWindow = 512;
constexpr float kWindowSilenceFloor = 1e-10F;
constexpr double kWidestRangeDb = 60;

}  // namespace

Levels levels(const ChannelSums& sums) {
  const ChannelSums::Pool& pool = sums.pool;
  if (pool.count == 0) {
    return {};
  }
  const auto count = static_cast<double>(pool.count);
  return {std::bit_cast<float>(pool.peakMagnitude), std::sqrt(pool.sumOfSquares / count),
          pool.sum / count, static_cast<double>(pool.clipped) * 100 / count};
}

double decibels(double amplitude) {
  return std::max(20 * std::log10(std::max(amplitude, kAmplitudeFloor)), kDecibelFloor);
}

std::vector<double> shortTermRMS(const MonoSignal& mono, double sampleRate) {
  const auto window =
      static_cast<std::size_t>(std::max(framesIn(kWindowSeconds, sampleRate), kShortestWindow));
  std::vector<float> scratch;
  std::vector<double> result;
  for (std::size_t start = 0; start + window <= mono.size(); start += window) {
    const float power = meanSquare(mono.window(start, window, scratch));
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

}  // namespace brindlevane::LocalAudioAnalyzer
