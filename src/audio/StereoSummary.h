#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace brindlevane::LocalAudioAnalyzer {

/// How the first two channels of a segment relate; both present or, of one channel, both absent.
struct StereoSummary {
  std::optional<double> correlation;  ///< -1 to 1; 1 when a channel is constant
  std::optional<double> width;        ///< level of the sides over the middle, percent, 0 to 400
};

/// Compares the first two channels. Samples that are not finite leave correlation 1 and width 0.
///
/// @see T. F. Chan, G. H. Golub, R. J. LeVeque, "Updating Formulae and a Pairwise Algorithm for
///     Computing Sample Variances", Stanford 1979, for the joining of blocks.
class StereoMeter {
 public:
  /// @param channelCount  1 or more
  explicit StereoMeter(std::size_t channelCount) : channelCount_(channelCount) {}

  /// Takes in the next frames, one or more.
  void add(std::span<const float> interleaved);

  [[nodiscard]] StereoSummary result() const;

 private:
  std::size_t channelCount_;
  double count_ = 0;
  double leftMean_ = 0;
  double rightMean_ = 0;
  double leftVariance_ = 0;  // sums of the products of deviations from the means
  double rightVariance_ = 0;
  double covariance_ = 0;
  double midPower_ = 0;   // sum of (left + right) squared
  double sidePower_ = 0;  // sum of (left - right) squared
};

}  // namespace brindlevane::LocalAudioAnalyzer
