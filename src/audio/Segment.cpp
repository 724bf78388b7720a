#include "audio/Segment.h"

#include "audio/SignalMath.h"
#include "contract/AnalysisError.h"
#include "platform/Memory.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace brindlevane {
namespace {

using Case = AnalysisError::Case;

// 200 MiB: 90 s at 582 kHz, and a bound for what a file may make the process take.
constexpr std::int64_t kMostFrames = std::int64_t{50} << 20U;

AudioFile opened(const std::string& path) {
  std::optional<AudioFile> file = AudioFile::open(path);
  if (!file) {
    throw AudioMeasurementError(Case::unreadableAudio);
  }
  if (!(file->sampleRate() > 0) || file->channelCount() < 1) {
    throw AudioMeasurementError(Case::unsupportedAudio);
  }
  return std::move(*file);
}

}  // namespace

Segment::Segment(const ListeningTask& task, double longestSeconds) : file_(opened(task.path)) {
  const double rate = file_.sampleRate();
  const double lastStart = static_cast<double>(file_.length()) / rate - 1 / rate;
  start_ = task.startSeconds > 0 ? framesIn(std::min(task.startSeconds, lastStart), rate) : 0;
  const double seconds = std::min(task.duration.value_or(longestSeconds), longestSeconds);
  frames_ = std::min(file_.length() - start_, framesIn(seconds, rate));
}

std::span<const float> Segment::decodedMix(const Follower& follow) {
  if (frames_ > kMostFrames) {
    throw AudioMeasurementError(Case::insufficientSignal);
  }
  const auto channelCount = static_cast<std::size_t>(file_.channelCount());
  mix_.reserve(static_cast<std::size_t>(frames_));
  preferLargePages(mix_.data(), mix_.capacity() * sizeof(float));
  const auto keep = [&](std::span<const float> interleaved) {
    const std::size_t frames = interleaved.size() / channelCount;
    mix_.resize(mix_.size() + frames);
    mixToMono(interleaved, channelCount, std::span(mix_).last(frames));
    follow(interleaved, mix_);
  };
  if (!file_.readBlocks(start_, frames_, keep)) {
    throw AudioMeasurementError(Case::unreadableAudio);
  }
  return mix_;
}

}  // namespace brindlevane
