#pragma once

#include "key/KeyProfiles.h"

#include <atomic>
#include <cstddef>
#include <future>
#include <limits>
#include <span>
#include <vector>

namespace brindlevane::MusicalKeyAnalyzer {

/// Folds the spectrum of a mono signal into a pitch-class profile, while the signal comes in.
///
/// Half-overlapping Hann frames of 8192 samples are transformed; each bin from 45 Hz to 5 kHz adds
/// log(1 + magnitude) / sqrt(frequency) to its nearest equal-tempered pitch class (A4 = 440 Hz).
/// Frames with a mean square below 5e-7 are left out. Parts of the signal are folded on their own
/// and added in order, so the sums are the same however the signal comes in.
///
/// @see T. Fujishima, "Realtime Chord Recognition of Musical Sound", ICMC 1999.
class ChromaMeter {
 public:
  /// @param sampleRate      Hz, greater than 0
  /// @param plannedSamples  the length that the signal will have at most
  ChromaMeter(double sampleRate, std::size_t plannedSamples);

  ~ChromaMeter();

  /// Lets another thread, if one is to be had, fold what is complete.
  ///
  /// @param samples  the signal so far, full scale = 1; it stays where it is as long as the meter
  void follow(std::span<const float> samples);

  /// Folds the rest of the signal.
  ///
  /// @return 12 sums >= 0, not normalised
  /// @throws KeyAnalysisError  insufficientSignal: fewer than 8192 samples, fewer than three
  ///     frames that carry sound, or no sound in the frequency range
  [[nodiscard]] Chroma result(std::span<const float> samples);

 private:
  // What the bins in the frequency range add, and where.
  struct Bins {
    explicit Bins(double sampleRate);

    std::size_t first = 1;
    std::vector<std::size_t> pitchClasses;
    std::vector<double> weights;
  };
  struct Profile {
    Chroma chroma = {};
    std::size_t framesUsed = 0;
  };
  class ProfileMeter;

  static constexpr auto kNoEnd = std::numeric_limits<std::size_t>::max();

  // Tells whoever folds how many frames there are; nothing is waited for from then on.
  void end(std::size_t frames);
  // Folds one part after the other that nobody has begun, each when it is ready.
  void fold(const float* samples);

  Bins bins_;
  std::vector<float> window_;
  std::vector<Profile> profiles_;
  std::atomic<std::size_t> partsBegun_ = 0;
  std::atomic<std::size_t> framesReady_ = 0;
  std::atomic<std::size_t> frames_ = kNoEnd;
  std::future<void> follower_;
};

/// The profile of a whole signal; see ChromaMeter.
[[nodiscard]] Chroma audioChroma(std::span<const float> samples, double sampleRate);

}  // namespace brindlevane::MusicalKeyAnalyzer
