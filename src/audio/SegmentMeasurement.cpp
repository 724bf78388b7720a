#include "audio/SegmentMeasurement.h"

#include "audio/ChannelSums.h"
#include "audio/DecodedSegment.h"
#include "audio/KeyEstimate.h"
#include "audio/Levels.h"
#include "audio/SignalMath.h"
#include "audio/SpectralSummary.h"
#include "audio/StereoSummary.h"
#include "audio/Waveform.h"
#include "contract/AnalysisError.h"
#include "platform/AudioFile.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <new>
#include <system_error>
#include <utility>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

using Case = AudioMeasurementError::Case;

constexpr std::int64_t kFewestFrames = 2048;
// The capacity of a sample buffer is a 32-bit number of frames.
constexpr std::int64_t kMostFrames = 4294967295;
/// Longest stretch of audio that is measured, in seconds.
constexpr double kLongestSeconds = 90;
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
    throw AudioMeasurementError(Case::insufficientSignal);
  }
}

std::optional<KeyDetection> keyOfMix(ChromaCollector& collector, std::size_t count,
                                     double sampleRate, double transposeSemitones) {
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
    throw AudioMeasurementError(Case::unreadableAudio);
  }
  const MonoSignal mono = decoded.mono().first(decoded.frames());
  if (mono.size() < static_cast<std::size_t>(kFewestFrames)) {
    throw AudioMeasurementError(Case::insufficientSignal);
  }
  std::future<MonoSummary> summary = startedMonoSummary(mono, sampleRate);
  const ChannelSums sums = summer.finish(decoded.channels());
  const Levels levelsOfAll = levels(sums);
  requireSignal(levelsOfAll);
  const StereoSummary stereo = stereoSummary(sums);
  const std::optional<KeyDetection> key =
      keyOfMix(collector, mono.size(), sampleRate, transposeSemitones);
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

AudioMeasurement measuredSegment(const ListeningTask& task) {
  std::optional<AudioFile> file = AudioFile::open(task.path);
  if (!file) {
    throw AudioMeasurementError(Case::unreadableAudio);
  }
  if (!(file->sampleRate() > 0) || file->channelCount() < 1) {
    throw AudioMeasurementError(Case::unsupportedAudio);
  }
  const Segment segment = plannedSegment(*file, task.startSeconds, task.duration);
  if (segment.frames < kFewestFrames || segment.frames > kMostFrames) {
    throw AudioMeasurementError(Case::insufficientSignal);
  }
  try {
    return measured(*file, segment, task.transposeSemitones);
  } catch (const std::bad_alloc&) {
    // A header may promise more frames than the address space holds.
    throw AudioMeasurementError(Case::insufficientSignal);
  }
}

}  // namespace brindlevane::LocalAudioAnalyzer
