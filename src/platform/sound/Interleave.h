#pragma once

#include <cstdint>

struct AVFrame;

namespace brindlevane {

/// Writes frames [from, from + count) of a decoded frame, interleaved, full scale = 1.
using Interleave = void (*)(const AVFrame& frame, std::int64_t from, std::int64_t count,
                            float* out);

/// @param sampleFormat  an AVSampleFormat, packed or planar
/// @return null for a format that no decoder of sound delivers
[[nodiscard]] Interleave interleaveOf(int sampleFormat);

}  // namespace brindlevane
