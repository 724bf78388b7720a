#pragma once

#include <span>

namespace brindlevane {

/// Brings interleaved samples from the order of channels that Vorbis and Opus have, with the centre
/// before the right one, into that of WAV.
///
/// @param samples  whole frames
void bringVorbisChannelsInOrder(std::span<float> samples, int channelCount);

}  // namespace brindlevane
