#include "audio/Waveform.h"

#include "audio/SignalMath.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

float peakOf(std::span<const float> samples) {
  const std::uint32_t peak = peakMagnitude(samples);
  if (peak < kInfiniteMagnitude) {
    return std::bit_cast<float>(peak);
  }
  float finitePeak = 0;
  for (const float sample : samples) {
    finitePeak = std::isfinite(sample) ? std::max(finitePeak, std::fabs(sample)) : finitePeak;
  }
  return finitePeak;
}

}  // namespace

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
