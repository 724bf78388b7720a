#pragma once

#include <concepts>
#include <cstddef>
#include <span>
#include <vector>

namespace brindlevane {

/// A view of a mono signal: samples as they lie in memory, or the mean of two channels.
///
/// The mean is taken wherever the signal is looked at, several times for most samples: that takes
/// no longer than to obtain and fill memory for it.
class MonoSignal {
 public:
  /// @param samples  full scale = 1
  template <std::convertible_to<std::span<const float>> Samples>
  MonoSignal(const Samples& samples) : first_(samples) {}

  /// The sum, in single precision, of left / 2 and right / 2.
  ///
  /// @param left, right  of equal length
  MonoSignal(std::span<const float> left, std::span<const float> right)
      : first_(left), second_(right) {}

  [[nodiscard]] std::size_t size() const { return first_.size(); }

  /// The signal up to its first `count` samples, of which there must be as many.
  [[nodiscard]] MonoSignal first(std::size_t count) const;

  /// The samples [start, start + count), which must all be there.
  ///
  /// @param scratch  may be overwritten; holds the result as long as it is left alone
  [[nodiscard]] std::span<const float> window(std::size_t start, std::size_t count,
                                              std::vector<float>& scratch) const;

 private:
  std::span<const float> first_;
  std::span<const float> second_;
};

}  // namespace brindlevane
