#pragma once

#include "audio/ChannelSums.h"
#include "audio/MonoSignal.h"
#include "platform/AudioFile.h"
#include "platform/SampleBuffer.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace brindlevane {

/// The samples of a segment of an audio file, by channel and as a mono signal.
class DecodedSegment {
 public:
  using Channels = LocalAudioAnalyzer::Channels;

  /// @param channelCount  1 or more
  /// @param capacity      most frames that will be decoded; costs nothing until they are
  /// @throws std::bad_alloc  the address space is not there
  DecodedSegment(std::size_t channelCount, std::size_t capacity);

  /// Decodes the frames [start, start + count), as many as there are and `capacity` allows.
  ///
  /// @param progress  called after each block, with its channels
  /// @return false when the segment cannot be read
  /// @throws std::bad_alloc  more samples than may be kept
  [[nodiscard]] bool decode(AudioFile& file, std::int64_t start, std::int64_t count,
                            const std::function<void(const Channels&)>& progress);

  [[nodiscard]] Channels channels() const;

  /// Frames decoded so far.
  [[nodiscard]] std::size_t frames() const;

  /// The mean of the channels; see mixToMono. It has all of the capacity, and what lies beyond the
  /// frames decoded so far is not there yet.
  [[nodiscard]] MonoSignal mono() const;

 private:
  void append(std::span<const float> interleaved);

  std::vector<SampleBuffer> channels_;
  std::optional<SampleBuffer> mono_;  // of more than two channels
};

}  // namespace brindlevane
