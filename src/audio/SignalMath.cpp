#include "audio/SignalMath.h"

#include "platform/VectorClones.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace brindlevane {

BRINDLEVANE_VECTOR_CLONES Sums sumsOf(std::span<const float> samples) {
  PartialSums sums = {};
  PartialSums squares = {};
  addInParts(samples.size(), [&](std::size_t i, std::size_t part) {
    const double sample = samples[i];
    sums[part] += sample;
    squares[part] += sample * sample;
  });
  return {total(sums), total(squares)};
}

double sumOfSquares(std::span<const float> samples) {
  return sumsOf(samples).squares;
}

BRINDLEVANE_VECTOR_CLONES float peakOf(std::span<const float> samples) {
  // Without their signs the bit patterns of numbers have the order of the magnitudes; infinities
  // and NaNs come last. Signed: the comparison of signed numbers is the one that every processor
  // does in parallel.
  constexpr std::int32_t kInfinity = 0x7f800000;
  std::int32_t peak = 0;
  for (const float sample : samples) {
    const std::int32_t magnitude = std::bit_cast<std::int32_t>(sample) & 0x7fffffff;
    peak = std::max(peak, magnitude < kInfinity ? magnitude : 0);
  }
  return std::bit_cast<float>(peak);
}

std::vector<float> hannWindow(std::size_t length, double factor) {
  std::vector<float> window(length);
  for (std::size_t n = 0; n < length; ++n) {
    const double angle =
        2 * std::numbers::pi * static_cast<double>(n) / static_cast<double>(length);
    window[n] = static_cast<float>(factor * (1 - std::cos(angle)));
  }
  return window;
}

BRINDLEVANE_VECTOR_CLONES void mixToMono(std::span<const float> interleaved,
                                         std::size_t channelCount, std::span<float> mono) {
  if (channelCount == 2) {
    // The same bits as by division, in a fraction of the time.
    for (std::size_t i = 0; i < mono.size(); ++i) {
      mono[i] = interleaved[2 * i] * 0.5F + interleaved[2 * i + 1] * 0.5F;
    }
    return;
  }
  const auto divisor = static_cast<float>(channelCount);
  for (std::size_t i = 0; i < mono.size(); ++i) {
    float sum = 0;
    for (const float sample : interleaved.subspan(i * channelCount, channelCount)) {
      sum += sample / divisor;
    }
    mono[i] = sum;
  }
}

std::int64_t framesIn(double seconds, double sampleRate) {
  constexpr double kLargest = 9.0e18;
  const double frames = sampleRate * seconds;
  return frames > 0 ? static_cast<std::int64_t>(std::min(frames, kLargest)) : 0;
}

}  // namespace brindlevane
