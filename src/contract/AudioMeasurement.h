#pragma once

#include "platform/Json.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace brindlevane {

/// What was measured on a segment of an audio file. Full scale is 1.0; nothing is rounded.
struct AudioMeasurement {
  double analyzedSeconds = 0;        ///< length of the segment, at most 90
  double sourceDurationSeconds = 0;  ///< length of the whole file
  double sampleRate = 0;             ///< Hz
  int channelCount = 0;
  double samplePeakDbFS = 0;                        ///< -120 or more
  double rmsDbFS = 0;                               ///< -120 or more
  double crestFactorDb = 0;                         ///< peak minus RMS, 0 or more
  double dynamicRangeDb = 0;                        ///< spread of the short-term RMS, 0 to 60
  double dcOffset = 0;                              ///< mean sample
  double clippedSamplePercent = 0;                  ///< 0 to 100
  std::optional<double> stereoCorrelation;          ///< -1 to 1; absent in a one-channel file
  std::optional<double> stereoWidthPercent;         ///< 0 to 400; absent together with the above
  double spectralCentroidHz = 0;                    ///< 0 when no spectrum was taken
  std::map<std::string, double> bandEnergyPercent;  ///< see SpectralSummary::bands
  std::vector<double> waveform;                     ///< 120 peak magnitudes in time order
  std::vector<std::vector<double>> spectrogram;     ///< see SpectralSummary::spectrogram
  std::optional<std::string> key;                   ///< absent when none could be estimated
  std::optional<double> keyConfidence;              ///< 0.43 to 0.96; absent together with key

  /// The measurement as the assistant receives it: a JSON object of 17 entries, and one more for
  /// each optional field that is present. Callers may overwrite entries.
  [[nodiscard]] Json dictionary() const;

  friend bool operator==(const AudioMeasurement&, const AudioMeasurement&) = default;
};

}  // namespace brindlevane
