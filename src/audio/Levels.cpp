#include "audio/Levels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "key/SignalMath.h"

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr float kClippingThreshold = 0.999F;
constexpr auto kClippedMagnitude = std::bit_cast<std::uint32_t>(kClippingThreshold);
constexpr double kAmplitudeFloor = 0.000001;
constexpr double kDecibelFloor = -120;
constexpr double kWindowSeconds = 0.4;
constexpr std::int64_t kShortestWindow = 512;
constexpr float kWindowSilenceFloor = 1e-10F;
constexpr double kHighPercentile = 0.95;
constexpr double kLowPercentile = 0.2;
constexpr double kWidestRangeDb = 60;

// A run that stays in the first-level cache between the two passes over it.
constexpr std::size_t kRun = 4096;

class LevelSums {
 public:
  void add(std::span<const float> samples) {
    const std::uint32_t peak = peakMagnitude(samples);
    if (peak >= kInfiniteMagnitude) {
      addFiniteOf(samples);
      return;
    }
    peak_ = std::max(peak_, peak);
    if (peak >= kClippedMagnitude) {
      clipped_ += static_cast<std::size_t>(
          std::count_if(samples.begin(), samples.end(),
                        [](float sample) { return std::fabs(sample) >= kClippingThreshold; }));
    }
    addSums(samples);
  }

  [[nodiscard]] Levels result() const {
    if (count_ == 0) {
      return {};
    }
    const auto count = static_cast<double>(count_);
    return {count_, std::bit_cast<float>(peak_), std::sqrt(sumOfSquares_ / count), sum_ / count,
            static_cast<double>(clipped_) * 100 / count};
  }

 private:
  void addSums(std::span<const float> samples) {
    // Copies, for the compiler cannot keep members in registers here.
    double sum = sum_;
    double sumOfSquares = sumOfSquares_;
    for (const float single : samples) {
      const double sample = single;
      sum += sample;
      sumOfSquares += sample * sample;
    }
    sum_ = sum;
    sumOfSquares_ = sumOfSquares;
    count_ += samples.size();
  }

  void addFiniteOf(std::span<const float> samples) {
    for (const float& sample : samples) {
      if (std::isfinite(sample)) {
        add(std::span(&sample, 1));
      }
    }
  }

  std::size_t count_ = 0;
  std::size_t clipped_ = 0;
  std::uint32_t peak_ = 0;
  double sum_ = 0;
  double sumOfSquares_ = 0;
};

}  // namespace

Levels levels(const Channels& channels) {
  LevelSums sums;
  for (const std::span<const float> channel : channels) {
    for (std::size_t start = 0; start < channel.size(); start += kRun) {
      sums.add(channel.subspan(start, std::min(kRun, channel.size() - start)));
    }
  }
  return sums.result();
}

double decibels(double amplitude) {
  return std::max(20 * std::log10(std::max(amplitude, kAmplitudeFloor)), kDecibelFloor);
}

std::vector<double> shortTermRms(std::span<const float> mono, double sampleRate) {
  const auto window = static_cast<std::size_t>(
      std::max(framesIn(kWindowSeconds, sampleRate), kShortestWindow));
  std::vector<double> result;
  for (std::size_t start = 0; start + window <= mono.size(); start += window) {
    const float power = meanSquare(mono.subspan(start, window));
    if (power > kWindowSilenceFloor) {
      result.push_back(std::sqrt(static_cast<double>(power)));
    }
  }
  return result;
}

double dynamicRangeDb(std::vector<double> rms) {
  std::erase_if(rms, [](double value) { return !std::isfinite(value) || !(value > 0); });
  if (rms.size() < 2) {
    return 0;
  }
  std::sort(rms.begin(), rms.end());
  const auto levelAt = [&rms](double percentile) {
    return decibels(rms[static_cast<std::size_t>(static_cast<double>(rms.size() - 1) * percentile)]);
  };
  return std::clamp(levelAt(kHighPercentile) - levelAt(kLowPercentile), 0.0, kWidestRangeDb);
}

}  // namespace brindlevane::LocalAudioAnalyzer
