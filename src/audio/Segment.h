#pragma once

#include "contract/Listening.h"
#include "platform/sound/AudioFile.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace brindlevane {

/// The part of an audio file that a task asks for.
class Segment {
 public:
  /// Opens the task's file and plans the segment: from the start, which lies on the last frame at
  /// most, for the duration, which is `longestSeconds` at most.
  ///
  /// @throws AudioMeasurementError  unreadableAudio: no such file, or no decoder for it;
  ///     unsupportedAudio: no sample rate or no channel
  Segment(const ListeningTask& task, double longestSeconds);

  [[nodiscard]] const AudioFile& file() const { return file_; }

  /// Frames planned; fewer may really be there.
  [[nodiscard]] std::int64_t frames() const { return frames_; }

  /// What hears the segment while it is decoded: the channels of a block, interleaved, and the mix
  /// from the segment's start to the block's end, which stays where it is.
  using Follower =
      std::function<void(std::span<const float> interleaved, std::span<const float> mix)>;

  /// Decodes the segment, once, and mixes its channels.
  ///
  /// @return the mix, kept here; see mixToMono
  /// @throws AudioMeasurementError  unreadableAudio: a failed read; insufficientSignal: more frames
  ///     than are held
  [[nodiscard]] std::span<const float> decodedMix(const Follower& follow);

 private:
  AudioFile file_;
  std::int64_t start_ = 0;
  std::int64_t frames_ = 0;
  std::vector<float> mix_;
};

}  // namespace brindlevane
