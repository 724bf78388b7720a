#pragma once

#include <map>
#include <span>
#include <string>
#include <vector>

namespace brindlevane::LocalAudioAnalyzer {

/// Where the energy of a signal lies.
struct SpectralSummary {
  /// Mean frequency weighted by magnitude, Hz; 0 without any.
  double centroid = 0;
  /// Percent of the energy in "sub_20_60", "bass_60_120", "lowMid_120_400", "mid_400_2000",
  /// "presence_2000_6000" and "air_6000_20000"; all 0 in silence, empty when the signal is too
  /// short.
  std::map<std::string, double> bands;
  /// One row per analysed frame in time order, at most 73; in each 48 cells, logarithmically
  /// spaced from 20 Hz to the highest frequency used. The loudest cell is 1, 60 dB below it is 0.
  std::vector<std::vector<double>> spectrogram;
};

/// Analyses Hann frames of 4096 samples, 2048 apart or as far as 73 of them need to span the
/// signal, over the frequencies from 20 Hz to 20 kHz or half the sample rate.
///
/// @param mono        full scale = 1
/// @param sampleRate  Hz, greater than 0
[[nodiscard]] SpectralSummary spectralSummary(std::span<const float> mono, double sampleRate);

}  // namespace brindlevane::LocalAudioAnalyzer
