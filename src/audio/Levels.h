#pragma once

#include "audio/SignalMath.h"

#include <cstddef>
#include <span>
#include <vector>

namespace brindlevane::LocalAudioAnalyzer {

/// Levels over the finite samples of all channels; all 0 when there is none.
struct Levels {
  float peak = 0;             ///< largest magnitude
  double rms = 0;             ///< root of the mean square
  double dcOffset = 0;        ///< mean
  double clippedPercent = 0;  ///< samples of a magnitude of 0.999 or more, 0 to 100
};

/// Measures levels.
class LevelMeter {
 public:
  /// Takes in the next samples, of all channels and in any order.
  void add(std::span<const float> samples);

  [[nodiscard]] Levels result() const;

 private:
  std::size_t count_ = 0;
  std::size_t clipped_ = 0;
  float peak_ = 0;
  Sums sums_;
};

/// An amplitude in dB relative to full scale 1.0; -120 or more.
[[nodiscard]] double decibels(double amplitude);

/// RMS of consecutive windows of 0.4 s, but at least 512 samples, without the windows whose mean
/// square is at most 1e-10. A last window that is not full is left out.
///
/// @param mono        full scale = 1
/// @param sampleRate  Hz, greater than 0
[[nodiscard]] std::vector<double> shortTermRMS(std::span<const float> mono, double sampleRate);

/// The distance between two percentiles of a set of amplitudes, taken without interpolation.
///
/// @param amplitudes  those not finite or not above 0 are left out
/// @param high, low   fractions of the way from the smallest amplitude to the largest, 0 to 1
/// @return dB, 0 to 60; 0 when fewer than two amplitudes are left
[[nodiscard]] double percentileDb(std::vector<double> amplitudes, double high, double low);

/// The peak envelope of a signal: the largest magnitude in each of `points` equal stretches. The
/// remainder of the division lies in no stretch; with fewer samples than points each stretch is
/// one sample, and the points beyond the end are 0.
///
/// @param mono    full scale = 1; samples that are not finite are passed over
/// @param points  greater than 0
/// @return `points` values in time order, or none for an empty signal
[[nodiscard]] std::vector<double> waveform(std::span<const float> mono, std::size_t points);

}  // namespace brindlevane::LocalAudioAnalyzer
