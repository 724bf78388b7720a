#include "audio/LocalAudioAnalyzer.h"

#include "audio/AudioMeasurementError.h"
#include "audio/ChannelSums.h"
#include "audio/DecodedSegment.h"
#include "audio/Levels.h"
#include "audio/MeasurementCache.h"
#include "audio/SpectralSummary.h"
#include "audio/StereoSummary.h"
#include "audio/Waveform.h"
#include "key/KeyAnalysisError.h"
#include "key/MusicalKeyAnalyzer.h"
#include "key/SignalMath.h"
#include "platform/FileAttributes.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <new>
#include <system_error>
#include <utility>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr std::int64_t kFewestFrames = 2048;
// The capacity of a sample buffer is a 32-bit number of frames.
constexpr std::int64_t kMostFrames = 4294967295;
constexpr float kPeakFloor = 0.000001F;
constexpr double kRmsFloor = 0.0000001;
constexpr double kHighPercentile = 0.95;
constexpr double kLowPercentile = 0.2;
constexpr std::size_t kWaveformPoints = 120;

// The part of a file that is asked for.
struct Segment {
  std::int64_t startFrame = 0;
  std::int64_t frames = 0;
};

MeasurementCache& measurementCache() {
  static MeasurementCache cache;
  return cache;
}

// The nearest whole number of units, halves away from zero, within a signed 64-bit number; 0 for
// a NaN.
std::int64_t scaled(double value, double unitsPerOne) {
  constexpr double kLargest = 9.0e18;
  const double units = std::round(value * unitsPerOne);
  return std::isnan(units) ? 0 : static_cast<std::int64_t>(std::clamp(units, -kLargest, kLargest));
}

AudioCacheKey cacheKey(const std::string& at, double transposeSemitones, double startSeconds,
                       std::optional<double> duration) {
  const FileAttributes attributes = fileAttributes(at).value_or(FileAttributes{});
  return {standardizedPath(at),
          attributes.size,
          attributes.modifiedSince1970,
          scaled(transposeSemitones, 100),
          std::max<std::int64_t>(scaled(startSeconds, 1000), 0),
          std::max<std::int64_t>(scaled(duration.value_or(0), 1000), 0)};
}

Segment plannedSegment(const AudioFile& file, double startSeconds, std::optional<double> duration) {
  const double sampleRate = file.sampleRate();
  const double lastStart =
      std::max(static_cast<double>(file.length()) / sampleRate - 1 / sampleRate, 0.0);
  Segment segment;
  segment.startFrame =
      framesIn(startSeconds > 0 ? std::min(startSeconds, lastStart) : 0, sampleRate);
  const std::int64_t wanted =
      framesIn(std::min(duration.value_or(kLongestSeconds), kLongestSeconds), sampleRate);
  segment.frames = std::min(std::max<std::int64_t>(file.length() - segment.startFrame, 0), wanted);
  return segment;
}

// What is measured on the mix of all channels.
struct MonoSummary {
  double dynamicRange = 0;
  SpectralSummary spectrum;
  std::vector<double> waveform;
};

MonoSummary monoSummary(const MonoSignal& mono, double sampleRate) {
  return {percentileDb(shortTermRMS(mono, sampleRate), kHighPercentile, kLowPercentile),
          spectralSummary(mono, sampleRate), waveform(mono, kWaveformPoints)};
}

std::future<MonoSummary> startedMonoSummary(const MonoSignal& mono, double sampleRate) {
  const auto measure = [=] { return monoSummary(mono, sampleRate); };
  try {
    return std::async(std::launch::async, measure);
  } catch (const std::system_error&) {
    // No thread to be had: the caller measures when it asks for the result.
    return std::async(std::launch::deferred, measure);
  }
}

// Neither the peak nor the power may be next to nothing; without a finite sample both are 0.
void requireSignal(const Levels& measured) {
  if (!(measured.peak > kPeakFloor) || !(measured.rms > kRmsFloor)) {
    throw AudioMeasurementError::insufficientSignal();
  }
}

std::optional<KeyDetection> keyOf(ChromaCollector& collector, std::size_t count, double sampleRate,
                                  double transposeSemitones) {
  try {
    return MusicalKeyAnalyzer::estimate(collector,
                                        MusicalKeyAnalyzer::analyzedCount(count, sampleRate),
                                        sampleRate, transposeSemitones);
  } catch (const KeyAnalysisError&) {
    // Noise and drums have no key; everything else about them is still worth knowing.
    return std::nullopt;
  }
}

AudioMeasurement measured(AudioFile& file, const Segment& segment, double transposeSemitones) {
  const double sampleRate = file.sampleRate();
  DecodedSegment decoded(static_cast<std::size_t>(file.channelCount()),
                         static_cast<std::size_t>(segment.frames));
  const auto keyFrames =
      static_cast<std::size_t>(framesIn(MusicalKeyAnalyzer::kLongestSeconds, sampleRate));
  ChromaCollector collector(decoded.mono(), sampleRate);
  ChannelSummer summer;
  const auto follow = [&](const Channels& block) {
    collector.announce(std::min(decoded.frames(), keyFrames));
    summer.add(block);
  };
  const bool readable = decoded.decode(file, segment.startFrame, segment.frames, follow);
  if (!readable) {
    throw AudioMeasurementError::unreadableAudio();
  }
  const MonoSignal mono = decoded.mono().first(decoded.frames());
  if (mono.size() < static_cast<std::size_t>(kFewestFrames)) {
    throw AudioMeasurementError::insufficientSignal();
  }
  std::future<MonoSummary> summary = startedMonoSummary(mono, sampleRate);
  const ChannelSums sums = summer.finish(decoded.channels());
  const Levels levelsOfAll = levels(sums);
  requireSignal(levelsOfAll);
  const StereoSummary stereo = stereoSummary(sums);
  const std::optional<KeyDetection> key =
      keyOf(collector, mono.size(), sampleRate, transposeSemitones);
  MonoSummary mix = summary.get();

  AudioMeasurement result;
  result.analyzedSeconds = static_cast<double>(mono.size()) / sampleRate;
  result.sourceDurationSeconds = static_cast<double>(file.length()) / sampleRate;
  result.sampleRate = sampleRate;
  result.channelCount = file.channelCount();
  result.samplePeakDbFS = decibels(static_cast<double>(levelsOfAll.peak));
  result.rmsDbFS = decibels(levelsOfAll.rms);
  result.crestFactorDb = std::max(result.samplePeakDbFS - result.rmsDbFS, 0.0);
  result.dynamicRangeDb = mix.dynamicRange;
  result.dcOffset = levelsOfAll.dcOffset;
  result.clippedSamplePercent = levelsOfAll.clippedPercent;
  result.stereoCorrelation = stereo.correlation;
  result.stereoWidthPercent = stereo.width;
  result.spectralCentroidHz = mix.spectrum.centroid;
  result.bandEnergyPercent = std::move(mix.spectrum.bands);
  result.waveform = std::move(mix.waveform);
  result.spectrogram = std::move(mix.spectrum.spectrogram);
  if (key) {
    result.key = key->key;
    result.keyConfidence = key->confidence;
  }
  return result;
}

}  // namespace

AudioMeasurement analyze(const std::string& at, double transposeSemitones, double startSeconds,
                         std::optional<double> duration) {
  const AudioCacheKey key = cacheKey(at, transposeSemitones, startSeconds, duration);
  if (std::optional<AudioMeasurement> known = measurementCache().find(key)) {
    return *std::move(known);
  }
  std::optional<AudioFile> file = AudioFile::open(at);
  if (!file) {
    throw AudioMeasurementError::unreadableAudio();
  }
  if (!(file->sampleRate() > 0) || file->channelCount() < 1) {
    throw AudioMeasurementError::unsupportedAudio();
  }
  const Segment segment = plannedSegment(*file, startSeconds, duration);
  if (segment.frames < kFewestFrames || segment.frames > kMostFrames) {
    throw AudioMeasurementError::insufficientSignal();
  }
  try {
    AudioMeasurement measurement = measured(*file, segment, transposeSemitones);
    measurementCache().store(key, measurement);
    return measurement;
  } catch (const std::bad_alloc&) {
    // A header may promise more frames than the address space holds.
    throw AudioMeasurementError::insufficientSignal();
  }
}

AudioMeasurement analyze(const std::string& at, std::optional<double> duration) {
  return analyze(at, 0, 0, duration);
}

}  // namespace brindlevane::LocalAudioAnalyzer
