#include "audio/DecodedSegment.h"

#include "audio/SignalMath.h"

#include <algorithm>

namespace brindlevane {
namespace {

// 2 GiB of samples: far above any real segment (90 s of 24 channels at 192 kHz are 1.6 GiB), and
// a bound for what a file may make the process take.
constexpr std::size_t kMostSamples = std::size_t{1} << 29U;
// Up to here the unused rest of a large page in each buffer does not matter.
constexpr std::size_t kMostChannelsWithLargePages = 6;

}  // namespace

DecodedSegment::DecodedSegment(std::size_t channelCount, std::size_t capacity) {
  const bool largePages = channelCount <= kMostChannelsWithLargePages;
  const std::size_t perChannel = std::min(capacity, kMostSamples / channelCount);
  for (std::size_t channel = 0; channel < channelCount; ++channel) {
    channels_.emplace_back(perChannel, largePages);
  }
  if (channelCount > 2) {
    mono_.emplace(perChannel, largePages);
  }
}

bool DecodedSegment::decode(AudioFile& file, std::int64_t start, std::int64_t count,
                            const std::function<void(const Channels&)>& progress) {
  const auto keep = [&](std::span<const float> interleaved) {
    append(interleaved);
    Channels block;
    for (const SampleBuffer& channel : channels_) {
      block.push_back(channel.samples().last(interleaved.size() / channels_.size()));
    }
    progress(block);
  };
  return file.readBlocks(start, count, keep).has_value();
}

DecodedSegment::Channels DecodedSegment::channels() const {
  Channels views;
  for (const SampleBuffer& channel : channels_) {
    views.push_back(channel.samples());
  }
  return views;
}

std::size_t DecodedSegment::frames() const {
  return channels_.front().samples().size();
}

MonoSignal DecodedSegment::mono() const {
  if (channels_.size() == 2) {
    return {channels_[0].room(), channels_[1].room()};
  }
  return mono_ ? mono_->room() : channels_.front().room();
}

void DecodedSegment::append(std::span<const float> interleaved) {
  const std::size_t channelCount = channels_.size();
  const std::size_t frames = interleaved.size() / channelCount;
  if (channelCount == 2) {
    const std::span<float> left = channels_[0].append(frames);
    const std::span<float> right = channels_[1].append(frames);
    for (std::size_t i = 0; i < frames; ++i) {
      left[i] = interleaved[2 * i];
      right[i] = interleaved[2 * i + 1];
    }
  } else {
    for (std::size_t channel = 0; channel < channelCount; ++channel) {
      const std::span<float> samples = channels_[channel].append(frames);
      for (std::size_t i = 0; i < frames; ++i) {
        samples[i] = interleaved[i * channelCount + channel];
      }
    }
  }
  if (mono_) {
    mixToMono(interleaved, channelCount, mono_->append(frames));
  }
}

}  // namespace brindlevane
