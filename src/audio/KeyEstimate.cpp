#include "audio/KeyEstimate.h"

#include "audio/Chroma.h"
#include "audio/Segment.h"
#include "audio/SignalMath.h"
#include "contract/AnalysisError.h"

#include <algorithm>
#include <cstdint>

namespace brindlevane::MusicalKeyAnalyzer {
namespace {

constexpr double kLongestSeconds = 75;
constexpr std::int64_t kMostFramesRefused = 4096;

}  // namespace

KeyDetection estimatedKey(const ListeningTask& task) {
  Segment segment(task, kLongestSeconds);
  if (segment.frames() <= kMostFramesRefused) {
    throw KeyAnalysisError(KeyAnalysisError::Case::insufficientSignal);
  }
  const double sampleRate = segment.file().sampleRate();
  ChromaMeter meter(sampleRate, static_cast<std::size_t>(segment.frames()));
  const auto mono = segment.decodedMix([&](auto /*all*/, auto mix) { meter.follow(mix); });
  return detect(meter.result(mono), task.transposeSemitones,
                static_cast<double>(mono.size()) / sampleRate);
}

std::size_t framesForKey(std::size_t frames, double sampleRate) {
  const double seconds = std::min(static_cast<double>(frames) / sampleRate, kLongestSeconds);
  return std::min(frames, static_cast<std::size_t>(framesIn(seconds, sampleRate)));
}

}  // namespace brindlevane::MusicalKeyAnalyzer
