#include "audio/AudioMeasurementError.h"
#include "audio/LocalAudioAnalyzer.h"
#include "audio/MeasurementCache.h"
#include "key/MusicalKeyAnalyzer.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>

namespace brindlevane {
namespace {

using LocalAudioAnalyzer::analyze;
using testing::noise;
using testing::tones;

const std::string kUnreadable = "Le fichier audio du clip est illisible.";
const std::string kInsufficient =
    "Le clip ne contient pas assez de signal pour une analyse audio fiable.";

class Analyze : public ::testing::Test {
 protected:
  std::string wav(const testing::Signal& signal, double sampleRate = 44100) {
    const std::string path = directory_.file(std::to_string(++files_) + ".wav");
    testing::writeWav(path, signal, sampleRate);
    return path;
  }

  static std::string refusalOf(const std::string& path, double start = 0,
                               std::optional<double> duration = std::nullopt) {
    try {
      static_cast<void>(analyze(path, 0, start, duration));
      return "";
    } catch (const AudioMeasurementError& error) {
      return error.what();
    }
  }

  testing::TemporaryDirectory directory_;
  int files_ = 0;
};

TEST_F(Analyze, MeasuresASineAsItIs) {
  const AudioMeasurement measurement = analyze(wav({tones({1000}, 1, 88200)}), std::nullopt);
  EXPECT_EQ(measurement.analyzedSeconds, 2);
  EXPECT_EQ(measurement.sourceDurationSeconds, 2);
  EXPECT_EQ(measurement.sampleRate, 44100);
  EXPECT_EQ(measurement.channelCount, 1);
  EXPECT_NEAR(measurement.samplePeakDbFS, 0, 1e-3);
  EXPECT_NEAR(measurement.rmsDbFS, 20 * std::log10(std::sqrt(0.5)), 1e-6);
  EXPECT_NEAR(measurement.crestFactorDb, 3.0103, 1e-3);
  EXPECT_NEAR(measurement.dynamicRangeDb, 0, 1e-4);
  EXPECT_NEAR(measurement.dcOffset, 0, 1e-9);
  EXPECT_NEAR(measurement.clippedSamplePercent, 200 * std::acos(0.999) / std::acos(-1), 0.3);
  EXPECT_FALSE(measurement.stereoCorrelation);
  EXPECT_NEAR(measurement.spectralCentroidHz, 1000, 5);
  EXPECT_EQ(measurement.waveform.size(), 120U);
  EXPECT_EQ(measurement.spectrogram.size(), 42U);
  EXPECT_TRUE(measurement.key);
}

TEST_F(Analyze, PlansTheSegmentInFrames) {
  std::vector<float> ramp(4000 * 95);
  for (std::size_t i = 0; i < ramp.size(); ++i) {
    ramp[i] = static_cast<float>(i) / static_cast<float>(ramp.size());
  }
  const std::string path = wav({ramp}, 4000);
  struct Case {
    double start;
    std::optional<double> duration;
    double startFrame, frames;
  };
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<Case> cases = {
      {0, std::nullopt, 0, 360000},     {-3, 200, 0, 360000},
      {0, infinity, 0, 360000},         {10, std::nullopt, 40000, 340000},
      {94, std::nullopt, 376000, 4000}, {1.00024, 0.51249, 4000, 2049},
      {2.0003, 0.512, 8001, 2048},      {-infinity, 1, 0, 4000}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.start);
    const AudioMeasurement measurement = analyze(path, 0, one.start, one.duration);
    EXPECT_EQ(measurement.analyzedSeconds, one.frames / 4000);
    EXPECT_EQ(measurement.sourceDurationSeconds, 95);
    const double mean = (one.startFrame + (one.frames - 1) / 2) / 380000;
    EXPECT_NEAR(measurement.dcOffset, mean, 1e-8);
  }
  for (const auto& [start, duration] : std::vector<std::pair<double, std::optional<double>>>{
           {95, std::nullopt}, {1e300, 1}, {0, 0.51}, {2, 1e-300}, {1, -1}, {1, std::nan("")}}) {
    SCOPED_TRACE(start);
    EXPECT_EQ(refusalOf(path, start, duration), kInsufficient);
  }
  EXPECT_EQ(analyze(path, infinity, std::nan(""), 1).dcOffset, analyze(path, 0, 0, 1).dcOffset);
}

TEST_F(Analyze, RefusesWhatCannotBeMeasured) {
  std::vector<float> broken(4000, std::nanf(""));
  testing::writeBytes(directory_.file("text.wav"), "no audio at all");
  EXPECT_EQ(refusalOf(directory_.file("text.wav")), kUnreadable);
  EXPECT_EQ(refusalOf(directory_.file("missing.wav")), kUnreadable);
  EXPECT_EQ(refusalOf(directory_.file("")), kUnreadable);
  EXPECT_EQ(refusalOf(wav({std::vector<float>(9000)})), kInsufficient);
  EXPECT_EQ(refusalOf(wav({std::vector<float>(9000, 1e-6F)})), kInsufficient);
  EXPECT_EQ(refusalOf(wav({std::vector<float>(9000, 1.1e-6F)})), "");
  EXPECT_EQ(refusalOf(wav({broken})), kInsufficient);
  EXPECT_EQ(refusalOf(wav({std::vector<float>(2047, 1)})), kInsufficient);
  EXPECT_EQ(refusalOf(wav({std::vector<float>(2048, 1)})), "");
  EXPECT_STREQ(AudioMeasurementError::unsupportedAudio().what(),
               "Le format audio de ce clip n\u2019est pas pris en charge.");
}

TEST_F(Analyze, MeasuresAShortSegmentWithoutSpectrumOrKey) {
  const AudioMeasurement measurement = analyze(wav({tones({440}, 0.5, 2048)}), std::nullopt);
  EXPECT_TRUE(measurement.spectrogram.empty());
  EXPECT_TRUE(measurement.bandEnergyPercent.empty());
  EXPECT_EQ(measurement.dynamicRangeDb, 0);
  const Json object = measurement.dictionary();
  EXPECT_EQ(object.size(), 17U);
  EXPECT_EQ(object["bandEnergyPercent"], Json::object());
  EXPECT_EQ(object["spectrogram"], Json::array());
}

TEST_F(Analyze, MixesAndDescribesAnyNumberOfChannels) {
  const std::vector<float> a = tones({500}, 0.6, 30000);
  const std::vector<float> silence(a.size());
  const AudioMeasurement stereo = analyze(wav({a, silence}), std::nullopt);
  EXPECT_NEAR(*stereo.stereoWidthPercent, 100, 1e-9);
  EXPECT_EQ(*std::max_element(stereo.waveform.begin(), stereo.waveform.end()),
            static_cast<double>(0.5F * *std::max_element(a.begin(), a.end())));
  const AudioMeasurement quad = analyze(wav({a, a, silence, a}), std::nullopt);
  EXPECT_EQ(quad.channelCount, 4);
  EXPECT_EQ(*quad.stereoWidthPercent, 0);
  EXPECT_NEAR(quad.waveform[60], 0.75 * 0.6, 1e-2);
}

TEST_F(Analyze, MeasuresAFileThatEndsTooSoonAsFarAsItGoes) {
  const std::string whole = wav({noise(1, 0.5, 300000), noise(2, 0.5, 300000)});
  const std::string path = directory_.file("cut.flac");
  testing::run("sox '" + whole + "' -b 16 '" + path + "'");
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  const AudioMeasurement measurement = analyze(path, std::nullopt);
  EXPECT_NEAR(measurement.analyzedSeconds, measurement.sourceDurationSeconds / 2, 0.2);
  EXPECT_GT(measurement.waveform.back(), 0.3);
}

TEST_F(Analyze, FindsTheKeyThatTheKeyAnalysisFinds) {
  // At this rate the division of a frame count by it does not always come back.
  const std::vector<float> chord = tones({220, 261.63, 329.63}, 0.2, 11025 * 80, 11025);
  const std::string path = wav({chord, noise(4, 0.1, chord.size())}, 11025);
  for (const double start : {0.0, 0.1, 3.3, 70.0, 78.0}) {
    SCOPED_TRACE(start);
    const AudioMeasurement measurement = analyze(path, 3, start, std::nullopt);
    const KeyDetection key =
        MusicalKeyAnalyzer::analyzeAudio(path, 3, start, measurement.analyzedSeconds);
    EXPECT_EQ(measurement.key, key.key);
    EXPECT_EQ(measurement.keyConfidence, key.confidence);
  }
}

TEST_F(Analyze, AnswersFromMemoryUntilTheFileChanges) {
  const std::string path = wav({tones({440}, 0.5, 9000)});
  const auto when = std::filesystem::last_write_time(path);
  const AudioMeasurement first = analyze(path, std::nullopt);
  // The same size and time, so that only a look into the file could tell the difference.
  testing::writeWav(path, {tones({440}, 0.25, 9000)});
  std::filesystem::last_write_time(path, when);
  EXPECT_EQ(analyze(path, 0.004, -3, std::nullopt), first);
  EXPECT_EQ(analyze(directory_.file("./") + "1.wav", 0, 0.0004, 0), first);
  EXPECT_EQ(analyze(path, 0, 0, -1), first);
  EXPECT_NE(analyze(path, 0.005, 0, std::nullopt), first);
  EXPECT_NE(analyze(path, 0, 0, 0.2), first);
  std::filesystem::last_write_time(path, when + std::chrono::milliseconds(1));
  EXPECT_NE(analyze(path, std::nullopt), first);
}

TEST(MeasurementCache, IsEmptiedWhenFull) {
  MeasurementCache cache;
  AudioMeasurement measurement;
  const auto keyOf = [](int number) { return AudioCacheKey{"/a", 1, 0.0, number, 0, 0}; };
  for (int i = 0; i < 24; ++i) {
    measurement.channelCount = i;
    cache.store(keyOf(i), measurement);
  }
  EXPECT_EQ(cache.size(), 24U);
  EXPECT_EQ(cache.find(keyOf(7))->channelCount, 7);
  AudioCacheKey negativeZero = keyOf(7);
  negativeZero.modified = -0.0;
  EXPECT_TRUE(cache.find(negativeZero));
  cache.store(keyOf(7), measurement);
  EXPECT_EQ(cache.size(), 1U);
  EXPECT_EQ(cache.find(keyOf(7))->channelCount, 23);
  EXPECT_FALSE(cache.find(keyOf(8)));
}

TEST(AudioMeasurement, AddsOptionalEntriesOnlyWhenPresent) {
  AudioMeasurement measurement;
  measurement.dcOffset = 0.0000123;
  measurement.stereoCorrelation = 0.5;
  measurement.stereoWidthPercent = 20;
  measurement.key = "C major";
  measurement.keyConfidence = 0.96;
  const Json object = measurement.dictionary();
  EXPECT_EQ(object.size(), 21U);
  EXPECT_EQ(object["scope"], "rawClipSourcePreFx");
  EXPECT_EQ(object["dcOffset"], 0.0000123);
  EXPECT_EQ(object["keyConfidence"], 0.96);
  EXPECT_EQ(object["privacy"], "Le fichier audio reste sur ce Mac.");
  EXPECT_EQ(object["measurementNotice"],
            "Analyse locale du fichier source du clip, avant les devices, retours et traitements "
            "master. Ce n\u2019est pas le rendu entendu au master.");
}

}  // namespace
}  // namespace brindlevane
