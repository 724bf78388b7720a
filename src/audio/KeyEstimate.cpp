#include "audio/KeyEstimate.h"

#include "audio/Chroma.h"
#include "audio/Segment.h"
#include "audio/SignalMath.h"
#include "contract/AnalysisError.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace brindlevane::MusicalKeyAnalyzer {
namespace {

constexpr double kLongestSeconds = 75;
constexpr std::int64_t kMostFramesRefused = 4096;

KeyDetection keyOf(std::span<const float> mono, double sampleRate, double transposeSemitones) {
  return detect(audioChroma(mono, sampleRate), transposeSemitones,
                static_cast<double>(mono.size()) / sampleRate);
}

}  // namespace

KeyDetection estimatedKey(const ListeningTask& task) {
  Segment segment(task, kLongestSeconds);
  if (segment.frames() <= kMostFramesRefused) {
    throw KeyAnalysisError(KeyAnalysisError::Case::insufficientSignal);
  }
  const std::vector<float> mono = segment.decodedMix([](auto) {});
  return keyOf(mono, segment.file().sampleRate(), task.transposeSemitones);
}

KeyDetection keyOfMix(std::span<const float> mono, double sampleRate, double transposeSemitones) {
  const double seconds = std::min(static_cast<double>(mono.size()) / sampleRate, kLongestSeconds);
  const auto count = static_cast<std::size_t>(framesIn(seconds, sampleRate));
  return keyOf(mono.first(std::min(mono.size(), count)), sampleRate, transposeSemitones);
}

}  // namespace brindlevane::MusicalKeyAnalyzer
