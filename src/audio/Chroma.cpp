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

// So many parts of the signal are folded on their own, unless they would be too short for that.
constexpr std::size_t kParts = 8;
constexpr std::size_t kFewestFramesAtOnce = 32;

std::size_t frameCount(std::size_t samples) {
  return samples < kFrameSize ? 0 : (samples - kFrameSize) / kHop + 1;
}

// Starts work in another thread, or, where none is to be had, once its result is asked for.
template <typename Work>
auto started(const Work& work) {
  try {
    return std::async(std::launch::async, work);
  } catch (const std::system_error&) {
    return std::async(std::launch::deferred, work);
  }
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

// Folds the frames of a part.
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

  [[nodiscard]] Profile result() {
    takeLogarithms();
    Profile profile = {{}, framesUsed_};
    for (std::size_t i = 0; i < logarithms_.size(); ++i) {
      profile.chroma[bins_.pitchClasses[i]] += logarithms_[i] * bins_.weights[i];
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
      framesPlanned_(frameCount(plannedSamples)),
      framesAtOnce_(std::max(framesPlanned_ / kParts + 1, kFewestFramesAtOnce)) {}

void ChromaMeter::follow(std::span<const float> samples) {
  const std::size_t frames = frameCount(samples.size());
  while (framesBegun_ < framesPlanned_ && endOfPart() <= frames) {
    begin(samples, endOfPart());
  }
}

Chroma ChromaMeter::result(std::span<const float> samples) {
  follow(samples);
  if (const std::size_t frames = frameCount(samples.size()); frames > framesBegun_) {
    begin(samples, frames);
  }
  Profile sum;
  for (std::future<Profile>& part : profiles_) {
    const Profile profile = part.get();
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

std::size_t ChromaMeter::endOfPart() const {
  return std::min(framesBegun_ + framesAtOnce_, framesPlanned_);
}

void ChromaMeter::begin(std::span<const float> samples, std::size_t endFrame) {
  profiles_.push_back(started([this, samples, frame = framesBegun_, endFrame]() mutable {
    ProfileMeter meter(bins_, window_);
    double firstHalf = sumOfSquares(samples.subspan(frame * kHop, kHop));
    for (; frame < endFrame; ++frame) {
      const double secondHalf = sumOfSquares(samples.subspan((frame + 1) * kHop, kHop));
      if (!(static_cast<float>((firstHalf + secondHalf) / kFrameSize) < kSilenceFloor)) {
        meter.add(samples.subspan(frame * kHop, kFrameSize));
      }
      firstHalf = secondHalf;
    }
    return meter.result();
  }));
  framesBegun_ = endFrame;
}

Chroma audioChroma(std::span<const float> samples, double sampleRate) {
  return ChromaMeter(sampleRate, samples.size()).result(samples);
}

}  // namespace brindlevane::MusicalKeyAnalyzer
