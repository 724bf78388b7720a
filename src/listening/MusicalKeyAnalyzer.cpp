#include "listening/MusicalKeyAnalyzer.h"

namespace brindlevane::MusicalKeyAnalyzer {

KeyDetection analyzeAudio(const std::string& at, double transposeSemitones, double startSeconds,
                          std::optional<double> duration, const Listener& listener) {
  return keyOf(listener(
      taskLine({ListeningTask::Kind::key, at, transposeSemitones, startSeconds, duration})));
}

}  // namespace brindlevane::MusicalKeyAnalyzer
