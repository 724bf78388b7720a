#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brindlevane {

/// Mean of the squares of the samples: squares and sum in double precision, the result rounded to
/// single precision. The sum runs in eight interleaved parts, a fixed order on every machine.
[[nodiscard]] float meanSquare(std::span<const float> samples);

/// The magnitude of a sample as the bit pattern of its single-precision number. The patterns have
/// the order of the magnitudes; infinities lie at kInfiniteMagnitude, NaNs above it.
[[nodiscard]] constexpr std::uint32_t magnitude(float sample) {
  return std::bit_cast<std::uint32_t>(sample) & 0x7fffffffU;
}

/// The largest magnitude() of the samples; 0 for none.
[[nodiscard]] std::uint32_t peakMagnitude(std::span<const float> samples);

inline constexpr std::uint32_t kInfiniteMagnitude = 0x7f800000;

/// Periodic Hann window: factor * (1 - cos(2 pi n / length)) for n = 0 ... length - 1.
[[nodiscard]] std::vector<float> hannWindow(std::size_t length, double factor);

/// Mixes interleaved frames to mono: sample i is the sum, channel after channel and in single
/// precision, of channel sample i / channelCount.
///
/// @param mono  receives one sample per frame
void mixToMono(std::span<const float> interleaved, std::size_t channelCount, std::span<float> mono);

/// The whole frames in a number of seconds, counted towards zero and bounded to what a signed
/// 64-bit number holds; 0 for a negative or NaN product.
[[nodiscard]] std::int64_t framesIn(double seconds, double sampleRate);

}  // namespace brindlevane
