#include "platform/sound/VorbisChannels.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace brindlevane {
namespace {

// Fewer channels come in the same order, more in none that is agreed.
constexpr std::size_t kLeastChannels = 3;
constexpr std::size_t kMostChannels = 8;

// For each number of channels, which of those of Vorbis comes first, second and so on in WAV.
constexpr std::array<std::array<std::size_t, kMostChannels>, 6> kOrders = {{
    {0, 2, 1},
    {0, 1, 2, 3},
    {0, 2, 1, 3, 4},
    {0, 2, 1, 5, 3, 4},
    {0, 2, 1, 6, 5, 3, 4},
    {0, 2, 1, 7, 5, 6, 3, 4},
}};

}  // namespace

void bringVorbisChannelsInOrder(std::span<float> samples, int channelCount) {
  const auto count = static_cast<std::size_t>(channelCount);
  if (count < kLeastChannels || count > kMostChannels) {
    return;
  }
  for (std::size_t i = 0; i + count <= samples.size(); i += count) {
    std::array<float, kMostChannels> frame = {};
    std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(i), count, frame.begin());
    for (std::size_t channel = 0; channel < count; ++channel) {
      samples[i + channel] = frame[kOrders[count - kLeastChannels][channel]];
    }
  }
}

}  // namespace brindlevane
