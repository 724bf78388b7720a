#pragma once

#include "key/KeyProfiles.h"

#include <cstddef>
#include <future>
#include <span>
#include <vector>

namespace brindlevane::MusicalKeyAnalyzer {

/// Folds the spectrum of a mono signal into a pitch-class profile, while the signal comes in.
///
/// Half-overlapping Hann frames of 8192 samples are transformed; each bin from 45 Hz to 5 kHz adds
/// log(1 + magnitude) / sqrt(frequency) to its nearest equal-tempered pitch class (A4 = 440 Hz).
/// Frames with a mean square below 5e-7 are left out. Parts of the signal are folded at the same
/// time; which ones depends on the planned length only, so the sums are the same every time.
///
/// @see T. Fujishima, "Realtime Chord Recognition of Musical Sound", ICMC 1999.
class ChromaMeter {
 public:
  /// @param sampleRate      Hz, greater than 0
  /// @param plannedSamples  the length that the signal will have at most
  ChromaMeter(double sampleRate, std::size_t plannedSamples);

  /// Begins, in other threads, to fold what is complete.
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

  // The frame behind the next part.
  [[nodiscard]] std::size_t endOfPart() const;
  void begin(std::span<const float> samples, std::size_t endFrame);

  Bins bins_;
  std::vector<float> window_;
  std::size_t framesPlanned_;
  std::size_t framesAtOnce_;
  std::size_t framesBegun_ = 0;
  std::vector<std::future<Profile>> profiles_;
};

/// The profile of a whole signal; see ChromaMeter.
[[nodiscard]] Chroma audioChroma(std::span<const float> samples, double sampleRate);

}  // namespace brindlevane::MusicalKeyAnalyzer
