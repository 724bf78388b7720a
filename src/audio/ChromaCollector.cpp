#include "audio/ChromaCollector.h"

#include "audio/SignalMath.h"
#include "contract/AnalysisError.h"
#include "platform/Fft.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>
#include <system_error>

namespace brindlevane {
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
// About 2.6 s at 44.1 kHz: enough work to outweigh the handing out of a group.
constexpr std::size_t kFramesPerGroup = 4 * kFramesPerLogarithm;

// Frames of the analysis that a number of samples holds.
std::size_t framesOf(std::size_t samples) {
  return samples < kFrameSize ? 0 : (samples - kFrameSize) / kHop + 1;
}

}  // namespace

// What the bins in the frequency range add, and where; and the window.
struct ChromaCollector::Bins {
  explicit Bins(double sampleRate) : window(hannWindow(kFrameSize, kHannFactor)) {
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

  std::vector<float> window;
  std::size_t first = 1;
  std::vector<std::size_t> pitchClasses;
  std::vector<double> weights;
};

// The working memory of one thread, all of it obtained at once: the helper could tell nobody that
// there is none.
class ChromaCollector::Folder {
 public:
  explicit Folder(const Bins& bins)
      : bins_(bins),
        fft_(kFrameSize),
        mixed_(kFrameSize),
        windowed_(kFrameSize),
        spectrum_(bins.first + bins.count()),
        products_(bins.count()),
        logarithms_(bins.count()) {}

  GroupSum fold(const MonoSignal& signal, std::size_t firstFrame, std::size_t frames) {
    GroupSum sum;
    std::fill(products_.begin(), products_.end(), 1.0);
    std::fill(logarithms_.begin(), logarithms_.end(), 0.0);
    for (std::size_t frame = firstFrame; frame < firstFrame + frames; ++frame) {
      const std::span<const float> samples = signal.window(frame * kHop, kFrameSize, mixed_);
      if (meanSquare(samples) < kSilenceFloor) {
        continue;
      }
      multiplyIn(samples);
      if (++sum.framesUsed % kFramesPerLogarithm == 0) {
        takeLogarithms();
      }
    }
    takeLogarithms();
    for (std::size_t i = 0; i < bins_.count(); ++i) {
      sum.chroma[bins_.pitchClasses[i]] += logarithms_[i] * bins_.weights[i];
    }
    return sum;
  }

 private:
  void multiplyIn(std::span<const float> samples) {
    for (std::size_t i = 0; i < kFrameSize; ++i) {
      windowed_[i] = samples[i] * bins_.window[i];
    }
    fft_.transform(windowed_, spectrum_);
    const std::complex<float>* const spectrum = spectrum_.data() + bins_.first;
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
  Fft fft_;
  std::vector<float> mixed_;
  std::vector<float> windowed_;
  std::vector<std::complex<float>> spectrum_;
  std::vector<double> products_;
  std::vector<double> logarithms_;
};

ChromaCollector::ChromaCollector(const MonoSignal& signal, double sampleRate)
    : signal_(signal), bins_(std::make_shared<const Bins>(sampleRate)) {}

ChromaCollector::~ChromaCollector() {
  {
    const std::lock_guard guard(lock_);
    ended_ = true;
    nextGroup_ = sums_.size();
  }
  changed_.notify_one();
  if (helper_.joinable()) {
    helper_.join();
  }
}

void ChromaCollector::announce(std::size_t count) {
  extend(count, false);
  if (helper_.joinable() || sums_.size() < 2) {
    return;
  }
  try {
    helper_ = std::thread(
        [this, folder = std::make_shared<Folder>(*bins_)] { foldGroups(*folder, true); });
  } catch (const std::system_error&) {
    // No thread to be had: the caller of finish() folds alone, with the same result.
  }
}

Chroma ChromaCollector::finish(std::size_t count) {
  extend(count, true);
  Folder folder(*bins_);
  foldGroups(folder, false);
  if (helper_.joinable()) {
    helper_.join();
  }
  GroupSum total;
  for (const GroupSum& sum : sums_) {
    total.framesUsed += sum.framesUsed;
    for (std::size_t pitchClass = 0; pitchClass < total.chroma.size(); ++pitchClass) {
      total.chroma[pitchClass] += sum.chroma[pitchClass];
    }
  }
  const double sum = std::accumulate(total.chroma.begin(), total.chroma.end(), 0.0);
  if (total.framesUsed < kFewestFrames || !(sum > 0)) {
    throw KeyAnalysisError(KeyAnalysisError::Case::insufficientSignal);
  }
  return total.chroma;
}

// Makes room for the groups of the frames that are there to stay: all of a signal that has ended,
// else those that a signal one sample shorter has too. Groups that have begun to be folded are
// whole ones, so only the last one of an ended signal may be short.
void ChromaCollector::extend(std::size_t count, bool ended) {
  {
    const std::lock_guard guard(lock_);
    frames_ = framesOf(ended ? count : std::max<std::size_t>(count, 1) - 1);
    ended_ = ended;
    sums_.resize((frames_ + (ended ? kFramesPerGroup - 1 : 0)) / kFramesPerGroup);
  }
  changed_.notify_one();
}

std::optional<std::size_t> ChromaCollector::claimGroup(bool wait) {
  std::unique_lock guard(lock_);
  if (wait) {
    changed_.wait(guard, [this] { return ended_ || nextGroup_ < sums_.size(); });
  }
  if (nextGroup_ >= sums_.size()) {
    return std::nullopt;
  }
  return nextGroup_++;
}

void ChromaCollector::foldGroups(Folder& folder, bool wait) {
  while (const std::optional<std::size_t> group = claimGroup(wait)) {
    const std::size_t firstFrame = *group * kFramesPerGroup;
    std::unique_lock guard(lock_);
    const std::size_t frames = std::min(kFramesPerGroup, frames_ - firstFrame);
    guard.unlock();
    const GroupSum sum = folder.fold(signal_, firstFrame, frames);
    guard.lock();
    sums_[*group] = sum;
  }
}

}  // namespace brindlevane
