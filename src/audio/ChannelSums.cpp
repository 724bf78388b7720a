#include "audio/ChannelSums.h"

#include "audio/SignalMath.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <type_traits>
#include <utility>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr float kClippingThreshold = 0.999F;
constexpr auto kClippedMagnitude = std::bit_cast<std::uint32_t>(kClippingThreshold);

// Samples between two looks at whether all have been finite.
constexpr std::size_t kRun = 2048;

using Run = std::span<const float>;

// An addition has to wait for the one before it in the same sum. So each walk below feeds as many
// sums as it can, which costs hardly more than feeding one: the first walk over two channels sums
// up the left one for the pool while it takes the means, the second the right one while it takes
// the deviations from them.
class Walks {
 public:
  explicit Walks(ChannelSums& sums) : sums_(sums) {}

  void overOneChannel(Run channel) {
    overRuns(channel, {}, [this](auto finite, Run samples, Run) {
      ChannelSums::Pool pool = sums_.pool;
      for (const float sample : samples) {
        addToPool<finite>(pool, sample);
      }
      sums_.pool = pool;
    });
  }

  void forMeans(Run left, Run right) {
    overRuns(left, right, [this](auto finite, Run leftRun, Run rightRun) {
      // Copies, for the compiler cannot keep members in registers here.
      ChannelSums::Pool pool = sums_.pool;
      ChannelSums::Stereo stereo = sums_.stereo;
      for (std::size_t i = 0; i < leftRun.size(); ++i) {
        const double l = leftRun[i];
        const double r = rightRun[i];
        addToPool<finite>(pool, leftRun[i]);
        stereo.rightSum += r;
        stereo.midPower += (l + r) * (l + r);
        stereo.sidePower += (l - r) * (l - r);
      }
      sums_.pool = pool;
      sums_.stereo = stereo;
    });
  }

  void forDeviations(Run left, Run right) {
    const double leftMean = sums_.stereo.leftSum / static_cast<double>(left.size());
    const double rightMean = sums_.stereo.rightSum / static_cast<double>(right.size());
    overRuns(right, left, [&](auto finite, Run rightRun, Run leftRun) {
      ChannelSums::Pool pool = sums_.pool;
      ChannelSums::Stereo stereo = sums_.stereo;
      for (std::size_t i = 0; i < rightRun.size(); ++i) {
        const double l = leftRun[i] - leftMean;
        const double r = rightRun[i] - rightMean;
        addToPool<finite>(pool, rightRun[i]);
        stereo.covariance += l * r;
        stereo.leftVariance += l * l;
        stereo.rightVariance += r * r;
      }
      sums_.pool = pool;
      sums_.stereo = stereo;
    });
  }

 private:
  template <bool finite>
  static void addToPool(ChannelSums::Pool& pool, float single) {
    const float counted = finite || std::isfinite(single) ? single : 0;
    const double sample = counted;
    pool.peakMagnitude = std::max(pool.peakMagnitude, magnitude(counted));
    pool.sum += sample;
    pool.sumOfSquares += sample * sample;
  }

  // Calls `walk` with runs of the channel that goes into the pool and of the other one: as if the
  // former were all finite, as nearly every run is, and once more in the rare other case.
  template <typename Walk>
  void overRuns(Run pooled, Run other, const Walk& walk) {
    for (std::size_t start = 0; start < pooled.size(); start += kRun) {
      const std::size_t length = std::min(kRun, pooled.size() - start);
      const Run run = pooled.subspan(start, length);
      const Run otherRun = other.empty() ? other : other.subspan(start, length);
      const std::uint32_t peakSoFar = std::exchange(sums_.pool.peakMagnitude, 0);
      const ChannelSums before = sums_;
      walk(std::true_type(), run, otherRun);
      if (sums_.pool.peakMagnitude < kInfiniteMagnitude) {
        sums_.pool.count += length;
      } else {
        sums_ = before;
        walk(std::false_type(), run, otherRun);
        sums_.pool.count += countIf(run, [](float sample) { return std::isfinite(sample); });
      }
      if (sums_.pool.peakMagnitude >= kClippedMagnitude) {
        sums_.pool.clipped += countIf(run, [](float sample) {
          return std::isfinite(sample) && std::fabs(sample) >= kClippingThreshold;
        });
      }
      sums_.pool.peakMagnitude = std::max(sums_.pool.peakMagnitude, peakSoFar);
    }
  }

  template <typename Predicate>
  static std::size_t countIf(Run run, const Predicate& predicate) {
    return static_cast<std::size_t>(std::count_if(run.begin(), run.end(), predicate));
  }

  ChannelSums& sums_;
};

bool areStereo(const Channels& channels) {
  return channels.size() >= 2 && channels[0].size() == channels[1].size();
}

}  // namespace

void ChannelSummer::add(const Channels& part) {
  Walks walks(sums_);
  if (areStereo(part)) {
    walks.forMeans(part[0], part[1]);
  } else if (!part.empty()) {
    walks.overOneChannel(part[0]);
  }
}

ChannelSums ChannelSummer::finish(const Channels& channels) {
  Walks walks(sums_);
  sums_.isStereo = areStereo(channels);
  if (sums_.isStereo) {
    // The pool holds nothing but the left channel yet. A sample that it leaves out for not being
    // finite gives a deviation that is not, whatever the mean.
    sums_.stereo.leftSum = sums_.pool.sum;
    walks.forDeviations(channels[0], channels[1]);
  }
  for (std::size_t channel = sums_.isStereo ? 2 : 1; channel < channels.size(); ++channel) {
    walks.overOneChannel(channels[channel]);
  }
  return sums_;
}

}  // namespace brindlevane::LocalAudioAnalyzer
