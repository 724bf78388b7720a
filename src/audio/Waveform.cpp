#include "audio/Waveform.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

float peakOf(std::span<const float> samples) {
  float peak = 0;
  for (const float sample : samples) {
    const float magnitude = std::fabs(sample);
    peak = magnitude > peak && std::isfinite(magnitude) ? magnitude : peak;
  }
  return peak;
}

}  // namespace

std::vector<double> waveform(std::span<const float> mono, std::size_t points) {
  if (mono.empty()) {
    return {};
  }
  const std::size_t bucket = std::max<std::size_t>(mono.size() / points, 1);
  std::vector<double> result(points);
  for (std::size_t i = 0; i < points && i * bucket < mono.size(); ++i) {
    result[i] = peakOf(mono.subspan(i * bucket, std::min(bucket, mono.size() - i * bucket)));
  }
  return result;
}

}  // namespace brindlevane::LocalAudioAnalyzer
