#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brindlevane::LocalAudioAnalyzer {

/// Views of the channels of a segment, in the order of the file.
using Channels = std::vector<std::span<const float>>;

/// What the levels and the stereo image of a segment are computed from.
///
/// All sums are in double precision and run in the order of the samples.
struct ChannelSums {
  /// Over the finite samples of all channels as one run, channel after channel.
  struct Pool {
    std::size_t count = 0;
    std::size_t clipped = 0;          ///< samples of a magnitude of 0.999 or more
    std::uint32_t peakMagnitude = 0;  ///< largest magnitude()
    double sum = 0;
    double sumOfSquares = 0;
  };
  /// Over the first two channels, samples that are not finite included.
  struct Stereo {
    double leftSum = 0;
    double rightSum = 0;
    double midPower = 0;    ///< sum of (left + right) squared
    double sidePower = 0;   ///< sum of (left - right) squared
    double covariance = 0;  ///< sum of the products of the deviations from the means
    double leftVariance = 0;
    double rightVariance = 0;
  };

  Pool pool;
  bool isStereo = false;  ///< whether there are two channels of equal length to begin with
  Stereo stereo;
};

/// Sums up channels while they are being decoded, for a sample costs least while it is in the
/// cache. The walk over the first channel, or the first over a stereo pair, follows the decoder;
/// the others come at the end.
class ChannelSummer {
 public:
  /// Takes in the next samples of all channels.
  void add(const Channels& part);

  /// @param channels  all samples of all channels, as they were added; the last call
  [[nodiscard]] ChannelSums finish(const Channels& channels);

 private:
  ChannelSums sums_;
};

}  // namespace brindlevane::LocalAudioAnalyzer
