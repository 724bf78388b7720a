#include "audio/Chroma.h"

#include "audio/SignalMath.h"
#include "contract/AnalysisError.h"
#include "platform/sound/Fft.h"

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

// What the bins in the frequency range add, and where.
struct Bins {
  explicit Bins(double sampleRate) {
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

  [[nodiscard]] std::size_t count() const { return weights.size(); }

  std::size_t first = 1;
  std::vector<std::size_t> pitchClasses;
  std::vector<double> weights;
};

struct Profile {
  Chroma chroma = {};
  std::size_t framesUsed = 0;
};

// Folds frames into a profile.
class ProfileMeter {
 public:
  explicit ProfileMeter(const Bins& bins)
      : bins_(bins),
        window_(hannWindow(kFrameSize, kHannFactor)),
        fft_(kFrameSize),
        products_(bins.count(), 1),
        logarithms_(bins.count()) {}

  void add(std::span<const float> frame) {
    if (meanSquare(frame) < kSilenceFloor) {
      return;
    }
    multiplyIn(frame);
    if (++framesUsed_ % kFramesPerLogarithm == 0) {
      takeLogarithms();
    }
  }

  [[nodiscard]] Profile result() {
    takeLogarithms();
    Profile profile = {{}, framesUsed_};
    for (std::size_t i = 0; i < bins_.count(); ++i) {
      profile.chroma[bins_.pitchClasses[i]] += logarithms_[i] * bins_.weights[i];
    }
    return profile;
  }

 private:
  void multiplyIn(std::span<const float> frame) {
    for (std::size_t i = 0; i < kFrameSize; ++i) {
      fft_.samples()[i] = frame[i] * window_[i];
    }
    const auto spectrum = fft_.transform().subspan(bins_.first, bins_.count());
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
  std::vector<float> window_;
  Fft fft_;
  std::vector<double> products_;
  std::vector<double> logarithms_;
  std::size_t framesUsed_ = 0;
};

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

Chroma audioChroma(std::span<const float> samples, double sampleRate) {
  const std::size_t frames =
      samples.size() < kFrameSize ? 0 : (samples.size() - kFrameSize) / kHop + 1;
  const Bins bins(sampleRate);
  const auto profileOf = [&](std::size_t begin, std::size_t end) {
    ProfileMeter meter(bins);
    for (std::size_t frame = begin; frame < end; ++frame) {
      meter.add(samples.subspan(frame * kHop, kFrameSize));
    }
    return meter.result();
  };
  auto secondHalf = started([&] { return profileOf(frames / 2, frames); });
  Profile profile = profileOf(0, frames / 2);
  const Profile second = secondHalf.get();
  profile.framesUsed += second.framesUsed;
  for (std::size_t pitchClass = 0; pitchClass < profile.chroma.size(); ++pitchClass) {
    profile.chroma[pitchClass] += second.chroma[pitchClass];
  }
  const double sum = std::accumulate(profile.chroma.begin(), profile.chroma.end(), 0.0);
  if (profile.framesUsed < kFewestFrames || !(sum > 0)) {
    throw KeyAnalysisError(KeyAnalysisError::Case::insufficientSignal);
  }
  return profile.chroma;
}

}  // namespace brindlevane::MusicalKeyAnalyzer
