#include "audio/Chroma.h"

#include "audio/SignalMath.h"
#include "contract/AnalysisError.h"
#include "platform/sound/Fft.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <future>
#include <numeric>
#include <system_error>
#include <utility>
#include <vector>

namespace brindlevane::MusicalKeyAnalyzer {
namespace {

constexpr std::size_t kFrameSize = 8192;
constexpr std::size_t kHop = 4096;
constexpr double kHannFactor = 0.8165;
constexpr float kSilenceFloor = 5e-7F;
constexpr double kLowestFrequency = 45;
constexpr double kHighestFrequency = 5000;
constexpr std::size_t kFewestFrames = 3;

// Logarithms of several frames are taken at once, as the logarithm of a product. Seven factors
// of at most 2^129, the largest magnitude that single precision gives, stay within a double.
constexpr std::size_t kFramesPerLogarithm = 7;

// A part of the signal, which is folded on its own, by whichever thread comes first.
constexpr std::size_t kFramesPerPart = 7 * kFramesPerLogarithm;

std::size_t frameCount(std::size_t samples) {
  return samples < kFrameSize ? 0 : (samples - kFrameSize) / kHop + 1;
}

}  // namespace

ChromaMeter::Bins::Bins(double sampleRate) {
  for (std::size_t bin = 1; bin < kFrameSize / 2; ++bin) {
    const double frequency = static_cast<double>(bin) * sampleRate / kFrameSize;
    if (frequency < kLowestFrequency) {
      first = bin + 1;
    } else if (frequency <= kHighestFrequency) {
      const double note = std::round(12 * std::log2(frequency / 440) + 69);
      pitchClasses.push_back(static_cast<std::size_t>(note) % 12);
      weights.push_back(1 / std::sqrt(frequency));
    }
  }
}

// Folds the frames of one part after the other.
class ChromaMeter::ProfileMeter {
 public:
  ProfileMeter(const Bins& bins, std::span<const float> window)
      : bins_(bins),
        window_(window),
        fft_(kFrameSize),
        products_(bins.weights.size(), 1),
        logarithms_(bins.weights.size()) {}

  void add(std::span<const float> frame) {
    multiplyIn(frame);
    if (++framesUsed_ % kFramesPerLogarithm == 0) {
      takeLogarithms();
    }
  }

  // The profile of the frames since it was last asked for.
  [[nodiscard]] Profile next() {
    takeLogarithms();
    Profile profile = {{}, std::exchange(framesUsed_, 0)};
    for (std::size_t i = 0; i < logarithms_.size(); ++i) {
      profile.chroma[bins_.pitchClasses[i]] += std::exchange(logarithms_[i], 0) * bins_.weights[i];
    }
    return profile;
  }

 private:
  void multiplyIn(std::span<const float> frame) {
    for (std::size_t i = 0; i < kFrameSize; ++i) {
      fft_.samples()[i] = frame[i] * window_[i];
    }
    const auto spectrum = fft_.transform().subspan(bins_.first, products_.size());
    for (std::size_t i = 0; i < products_.size(); ++i) {
      const double real = spectrum[i].real();
      const double imaginary = spectrum[i].imag();
      const double factor = 1 + std::sqrt(real * real + imaginary * imaginary);
      // False for the NaN that a non-finite sample leaves in every bin: such a bin adds nothing.
      products_[i] *= factor >= 1 ? factor : 1;
    }
  }

  void takeLogarithms() {
    for (std::size_t i = 0; i < products_.size(); ++i) {
      logarithms_[i] += std::log(products_[i]);
      products_[i] = 1;
    }
  }

  const Bins& bins_;
  std::span<const float> window_;
  Fft fft_;
  std::vector<double> products_;
  std::vector<double> logarithms_;
  std::size_t framesUsed_ = 0;
};

ChromaMeter::ChromaMeter(double sampleRate, std::size_t plannedSamples)
    : bins_(sampleRate),
      window_(hannWindow(kFrameSize, kHannFactor)),
      profiles_(frameCount(plannedSamples) / kFramesPerPart + 1) {}

ChromaMeter::~ChromaMeter() {
  end(0);
}

void ChromaMeter::follow(std::span<const float> samples) {
  framesReady_ = frameCount(samples.size());
  framesReady_.notify_one();
  if (!follower_.valid()) {
    try {
      follower_ = std::async(std::launch::async, [this, start = samples.data()] { fold(start); });
    } catch (const std::system_error&) {
      // result() folds whatever is left.
    }
  }
}

Chroma ChromaMeter::result(std::span<const float> samples) {
  end(frameCount(samples.size()));
  fold(samples.data());
  if (follower_.valid()) {
    follower_.get();
  }
  Profile sum;
  for (const Profile& profile : profiles_) {
    sum.framesUsed += profile.framesUsed;
    for (std::size_t pitchClass = 0; pitchClass < sum.chroma.size(); ++pitchClass) {
      sum.chroma[pitchClass] += profile.chroma[pitchClass];
    }
  }
  const double total = std::accumulate(sum.chroma.begin(), sum.chroma.end(), 0.0);
  if (sum.framesUsed < kFewestFrames || !(total > 0)) {
    throw KeyAnalysisError(KeyAnalysisError::Case::insufficientSignal);
  }
  return sum.chroma;
}

void ChromaMeter::end(std::size_t frames) {
  frames_ = frames;
  framesReady_ = kNoEnd;
  framesReady_.notify_one();
}

void ChromaMeter::fold(const float* samples) {
  ProfileMeter meter(bins_, window_);
  for (std::size_t part = partsBegun_++; part < profiles_.size(); part = partsBegun_++) {
    std::size_t frame = part * kFramesPerPart;
    const std::size_t endOfPart = frame + kFramesPerPart;
    for (std::size_t ready = framesReady_; ready < endOfPart; ready = framesReady_) {
      framesReady_.wait(ready);
    }
    for (; frame < std::min<std::size_t>(endOfPart, frames_); ++frame) {
      const std::span<const float> window(samples + frame * kHop, kFrameSize);
      if (!(static_cast<float>(sumOfSquares(window) / kFrameSize) < kSilenceFloor)) {
        meter.add(window);
      }
    }
    profiles_[part] = meter.next();
  }
}

Chroma audioChroma(std::span<const float> samples, double sampleRate) {
  return ChromaMeter(sampleRate, samples.size()).result(samples);
}

}  // namespace brindlevane::MusicalKeyAnalyzer
