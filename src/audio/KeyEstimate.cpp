#include "audio/KeyEstimate.h"

#include "audio/SignalMath.h"
#include "contract/AnalysisError.h"
#include "platform/AudioFile.h"
#include "platform/SampleBuffer.h"

#include <algorithm>
#include <new>
#include <optional>

namespace brindlevane::MusicalKeyAnalyzer {
namespace {

using Case = KeyAnalysisError::Case;

constexpr std::int64_t kMostFramesRefused = 4096;

}  // namespace

KeyDetection estimatedKey(const ListeningTask& task) {
  std::optional<AudioFile> file = AudioFile::open(task.path);
  if (!file) {
    throw KeyAnalysisError(Case::unreadableAudio);
  }
  const double sampleRate = file->sampleRate();
  if (!(sampleRate > 0) || file->channelCount() < 1) {
    throw KeyAnalysisError(Case::unsupportedAudio);
  }
  const auto channelCount = static_cast<std::size_t>(file->channelCount());
  const double lastStart = static_cast<double>(file->length()) / sampleRate - 1 / sampleRate;
  const double start =
      task.startSeconds >= 0 ? std::min(task.startSeconds, std::max(lastStart, 0.0)) : 0;
  const std::int64_t startFrame = framesIn(start, sampleRate);
  const double wanted = task.duration.value_or(kLongestSeconds);
  const double seconds = wanted >= 0 ? std::min(wanted, kLongestSeconds) : 0;
  const std::int64_t planned = std::min(std::max<std::int64_t>(file->length() - startFrame, 0),
                                        framesIn(seconds, sampleRate));
  if (planned <= kMostFramesRefused) {
    throw KeyAnalysisError(Case::insufficientSignal);
  }
  try {
    SampleBuffer mono(static_cast<std::size_t>(planned), true);
    ChromaCollector collector(mono.room(), sampleRate);
    const auto mix = [&](std::span<const float> interleaved) {
      mixToMono(interleaved, channelCount, mono.append(interleaved.size() / channelCount));
      collector.announce(mono.samples().size());
    };
    if (!file->readBlocks(startFrame, planned, mix)) {
      throw KeyAnalysisError(Case::unreadableAudio);
    }
    return estimate(collector, mono.samples().size(), sampleRate, task.transposeSemitones);
  } catch (const std::bad_alloc&) {
    // A header may promise more frames than the address space holds.
    throw KeyAnalysisError(Case::insufficientSignal);
  }
}

std::size_t analyzedCount(std::size_t count, double sampleRate) {
  const double seconds = std::min(static_cast<double>(count) / sampleRate, kLongestSeconds);
  return std::min(count, static_cast<std::size_t>(framesIn(seconds, sampleRate)));
}

KeyDetection estimate(ChromaCollector& collector, std::size_t count, double sampleRate,
                      double transposeSemitones) {
  const Chroma chroma = collector.finish(count);
  return detect(chroma, transposeSemitones, static_cast<double>(count) / sampleRate);
}

Chroma audioChroma(std::span<const float> samples, double sampleRate) {
  ChromaCollector collector(samples, sampleRate);
  collector.announce(samples.size());
  return collector.finish(samples.size());
}

}  // namespace brindlevane::MusicalKeyAnalyzer
