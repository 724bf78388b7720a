#include "audio/Waveform.h"

#include "audio/SignalMath.h"

#include <algorithm>

namespace brindlevane::LocalAudioAnalyzer {

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
