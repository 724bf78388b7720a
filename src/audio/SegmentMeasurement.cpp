#include "audio/SegmentMeasurement.h"

#include "audio/Chroma.h"
#include "audio/KeyEstimate.h"
#include "audio/Levels.h"
#include "audio/Segment.h"
#include "audio/SpectralSummary.h"
#include "audio/StereoSummary.h"
#include "contract/AnalysisError.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

using MusicalKeyAnalyzer::ChromaMeter;
using MusicalKeyAnalyzer::framesForKey;

constexpr std::int64_t kFewestFrames = 2048;
constexpr double kLongestSeconds = 90;
constexpr float kPeakFloor = 0.000001F;
constexpr double kRmsFloor = 0.0000001;
constexpr double kHighPercentile = 0.95;
constexpr double kLowPercentile = 0.2;
constexpr std::size_t kWaveformPoints = 120;

void require(bool hasSignal) {
  if (!hasSignal) {
    throw AudioMeasurementError(AudioMeasurementError::Case::insufficientSignal);
  }
}

std::optional<KeyDetection> keyOf(ChromaMeter& meter, std::span<const float> mono,
                                  double transposeSemitones) {
  try {
    return MusicalKeyAnalyzer::detect(meter.result(mono), transposeSemitones);
  } catch (const KeyAnalysisError&) {
    // Noise and drums have no key; everything else about them is still worth knowing.
    return std::nullopt;
  }
}

}  // namespace

AudioMeasurement measuredSegment(const ListeningTask& task) {
  Segment segment(task, kLongestSeconds);
  const AudioFile& file = segment.file();
  const double sampleRate = file.sampleRate();
  require(segment.frames() >= kFewestFrames);
  LevelMeter levelMeter;
  StereoMeter stereoMeter(static_cast<std::size_t>(file.channelCount()));
  const std::size_t keyFrames =
      framesForKey(static_cast<std::size_t>(segment.frames()), sampleRate);
  ChromaMeter chromaMeter(sampleRate, keyFrames);
  const auto mono = segment.decodedMix([&](auto interleaved, auto mix) {
    levelMeter.add(interleaved);
    stereoMeter.add(interleaved);
    // Without the last frame so far: where the file ends early it may be the one that is left out.
    chromaMeter.follow(mix.first(std::min(mix.size() - 1, keyFrames)));
  });
  const Levels levels = levelMeter.result();
  // Neither the peak nor the power may be next to nothing; without a finite sample both are 0.
  require(std::ssize(mono) >= kFewestFrames && levels.peak > kPeakFloor && levels.rms > kRmsFloor);
  const StereoSummary stereo = stereoMeter.result();
  SpectralSummary spectrum = spectralSummary(mono, sampleRate);

  AudioMeasurement result;
  result.analyzedSeconds = static_cast<double>(mono.size()) / sampleRate;
  result.sourceDurationSeconds = static_cast<double>(file.length()) / sampleRate;
  result.sampleRate = sampleRate;
  result.channelCount = file.channelCount();
  result.samplePeakDbFS = decibels(static_cast<double>(levels.peak));
  result.rmsDbFS = decibels(levels.rms);
  result.crestFactorDb = std::max(result.samplePeakDbFS - result.rmsDbFS, 0.0);
  result.dynamicRangeDb =
      percentileDb(shortTermRMS(mono, sampleRate), kHighPercentile, kLowPercentile);
  result.dcOffset = levels.dcOffset;
  result.clippedSamplePercent = levels.clippedPercent;
  result.stereoCorrelation = stereo.correlation;
  result.stereoWidthPercent = stereo.width;
  result.spectralCentroidHz = spectrum.centroid;
  result.bandEnergyPercent = std::move(spectrum.bands);
  result.waveform = waveform(mono, kWaveformPoints);
  result.spectrogram = std::move(spectrum.spectrogram);
  const std::optional<KeyDetection> key = keyOf(
      chromaMeter, mono.first(framesForKey(mono.size(), sampleRate)), task.transposeSemitones);
  if (key) {
    result.key = key->key;
    result.keyConfidence = key->confidence;
  }
  return result;
}

}  // namespace brindlevane::LocalAudioAnalyzer
