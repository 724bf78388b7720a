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

std::vector<double> waveform(const MonoSignal& mono, std::size_t points) {
  if (mono.size() == 0) {
    return {};
  }
  const std::size_t bucket = std::max<std::size_t>(mono.size() / points, 1);
  std::vector<float> scratch;
  std::vector<double> result(points);
  for (std::size_t i = 0; i < points && i * bucket < mono.size(); ++i) {
    result[i] = peakOf(mono.window(i * bucket, bucket, scratch));
  }
  return result;
}

}  // namespace brindlevane::LocalAudioAnalyzer
