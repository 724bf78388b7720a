#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <tuple>
#include <vector>

namespace brindlevane {

/// A sum in interleaved parts. An addition has to wait for the one before it in the same sum;
/// several sums are fed as fast as one, and the processor's vector registers feed them together.
/// The order is the same on every machine.
using PartialSums = std::array<double, 8>;

[[nodiscard]] inline double total(const PartialSums& parts) {
  return std::accumulate(parts.begin(), parts.end(), 0.0);
}

/// Calls add(i, part) for each i below the count, in order, with the parts of a sum by turns.
template <typename Add>
[[gnu::always_inline]] inline void addInParts(std::size_t count, const Add& add) {
  constexpr std::size_t kParts = std::tuple_size_v<PartialSums>;
  const std::size_t whole = count - count % kParts;
  for (std::size_t i = 0; i < whole; i += kParts) {
    for (std::size_t part = 0; part < kParts; ++part) {
      add(i + part, part);
    }
  }
  for (std::size_t i = whole; i < count; ++i) {
    add(i, 0);
  }
}

/// Sums in double precision.
struct Sums {
  double samples = 0;
  double squares = 0;
};
[[nodiscard]] Sums sumsOf(std::span<const float> samples);

/// Sum of the squares of the samples.
[[nodiscard]] double sumOfSquares(std::span<const float> samples);

/// The largest magnitude of the finite samples; 0 for none.
[[nodiscard]] float peakOf(std::span<const float> samples);

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
