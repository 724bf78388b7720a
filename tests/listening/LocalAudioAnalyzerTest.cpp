#include "contract/AnalysisError.h"
#include "listener/Hearing.h"
#include "listening/LocalAudioAnalyzer.h"
#include "listening/MeasurementCache.h"
#include "listening/MusicalKeyAnalyzer.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

namespace brindlevane {
namespace {

using testing::noise;
using testing::Signal;
using testing::tones;

const std::string kUnreadable = "Le fichier audio du clip est illisible.";
const std::string kInsufficient =
    "Le clip ne contient pas assez de signal pour une analyse audio fiable.";

// The listener of these tests works in this process.
AudioMeasurement analyze(const std::string& path, double transposeSemitones, double startSeconds,
                         std::optional<double> duration) {
  return LocalAudioAnalyzer::analyze(path, transposeSemitones, startSeconds, duration, heard);
}
AudioMeasurement analyze(const std::string& path, std::optional<double> duration) {
  return LocalAudioAnalyzer::analyze(path, duration, heard);
}

class Analyze : public ::testing::Test {
 protected:
  std::string wav(const Signal& signal, double sampleRate = 44100) {
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

  TemporaryFolder directory_;
  int files_ = 0;
};

// 3 s at 8 kHz, the last one at a tenth of the level, with 24 spikes early on the left channel
// where the sines of both channels pass through 0.
Signal song() {
  Signal song = {tones({1000}, 0.8, 24000, 8000), tones({1000}, 0.4, 24000, 8000)};
  const std::vector<float> low = tones({250}, 0.3, 24000, 8000);
  for (std::size_t i = 0; i < low.size(); ++i) {
    song[1][i] += low[i] + 0.05F;
    if (i >= 16000) {
      song[0][i] /= 10;
      song[1][i] /= 10;
    }
  }
  for (std::size_t spike = 0; spike < 24; ++spike) {
    song[0][608 + 16 * spike] = 1.25F;
  }
  return song;
}

TEST_F(Analyze, GivesEachFieldItsOwnMeasure) {
  const AudioMeasurement measurement = analyze(wav(song(), 8000), std::nullopt);
  const double frames = 24000;
  const double power = (16000 + 8000 * 0.01) / frames;
  const double leftSum = 24 * 1.25;
  const double rightSum = 0.05 * (16000 + 8000 * 0.1);
  const double leftSquares = frames * power * 0.32 + 24 * 1.5625;
  const double rightSquares = frames * power * (0.08 + 0.045 + 0.0025);
  const double products = frames * power * 0.16 + 24 * 1.25 * 0.05;
  const double rmsDb = 10 * std::log10((leftSquares + rightSquares) / (2 * frames));
  const double peakDb = 20 * std::log10(1.25);
  EXPECT_EQ(measurement.analyzedSeconds, 3);
  EXPECT_EQ(measurement.sourceDurationSeconds, 3);
  EXPECT_EQ(measurement.sampleRate, 8000);
  EXPECT_EQ(measurement.channelCount, 2);
  EXPECT_NEAR(measurement.samplePeakDbFS, peakDb, 1e-9);
  EXPECT_NEAR(measurement.rmsDbFS, rmsDb, 1e-6);
  EXPECT_NEAR(measurement.crestFactorDb, peakDb - rmsDb, 1e-6);
  EXPECT_NEAR(measurement.dynamicRangeDb, 20, 1e-4);
  EXPECT_NEAR(measurement.dcOffset, (leftSum + rightSum) / (2 * frames), 1e-8);
  EXPECT_EQ(measurement.clippedSamplePercent, 0.05);
  EXPECT_NEAR(*measurement.stereoCorrelation,
              (products - leftSum * rightSum / frames) /
                  std::sqrt((leftSquares - leftSum * leftSum / frames) *
                            (rightSquares - rightSum * rightSum / frames)),
              1e-6);
  EXPECT_NEAR(*measurement.stereoWidthPercent,
              100 * std::sqrt((leftSquares + rightSquares - 2 * products) /
                              (leftSquares + rightSquares + 2 * products)),
              1e-4);
  // The mix holds 1000 Hz at 0.6 and 250 Hz at 0.15.
  EXPECT_NEAR(measurement.bandEnergyPercent.at("mid_400_2000"), 94.1, 0.5);
  EXPECT_NEAR(measurement.bandEnergyPercent.at("lowMid_120_400"), 5.9, 0.5);
  EXPECT_NEAR(measurement.spectralCentroidHz, 900, 100);
  ASSERT_EQ(measurement.waveform.size(), 120U);
  EXPECT_NEAR(measurement.waveform[2], 0.77, 0.02);
  EXPECT_NEAR(measurement.waveform[3], 0.65, 0.15);
  EXPECT_NEAR(measurement.waveform[119], 0.077, 0.002);
  EXPECT_EQ(measurement.spectrogram.size(), 10U);
  EXPECT_EQ(measurement.key->substr(0, 2), "B ");
  EXPECT_NEAR(*measurement.keyConfidence, 0.6, 0.3);
}

TEST_F(Analyze, TakesTheDynamicRangeFromThe20thToThe95thPercentile) {
  // 225 windows of 0.4 s, each 0.25 dB louder than the one before; ranks 44 and 212 of 0 to 224.
  std::vector<float> samples = tones({1000}, 0.5, 360000, 4000);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] *= static_cast<float>(std::pow(10, (static_cast<double>(i / 1600) - 224) / 80));
  }
  EXPECT_NEAR(analyze(wav({samples}, 4000), std::nullopt).dynamicRangeDb, 42, 1e-4);
}

TEST_F(Analyze, HearsAClipInTheMiddleOfItsFileAsIfItWereAFileOfItsOwn) {
  const Signal clip = song();
  Signal file = {noise(1, 1, 10001), noise(2, 0.5, 10001)};
  for (std::size_t channel = 0; channel < 2; ++channel) {
    const std::vector<float> behind = noise(3, 0.9, 5000);
    file[channel].insert(file[channel].end(), clip[channel].begin(), clip[channel].end());
    file[channel].insert(file[channel].end(), behind.begin(), behind.end());
  }
  const AudioMeasurement alone = analyze(wav(clip, 8000), -4, 0, std::nullopt);
  AudioMeasurement within = analyze(wav(file, 8000), -4, 1.25013, 3);
  EXPECT_EQ(within.sourceDurationSeconds, 39001.0 / 8000);
  within.sourceDurationSeconds = 3;
  EXPECT_EQ(within, alone);
  EXPECT_EQ(alone.key->substr(0, 2), "G ");
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
      {2.0003, 0.512, 8001, 2048},      {-infinity, 1, 0, 4000},
      {0, 90.001, 0, 360000},           {0, 89.99975, 0, 359999},
      {94.488, 1, 377952, 2048},        {0.5, 1, 2000, 4000}};
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
  testing::writeBytes(directory_.file("text.wav"), "no audio at all");
  EXPECT_EQ(refusalOf(directory_.file("text.wav")), kUnreadable);
  EXPECT_EQ(refusalOf(directory_.file("missing.wav")), kUnreadable);
  EXPECT_EQ(refusalOf(directory_.file("")), kUnreadable);
  // Peak and RMS on either side of their floors; of 10,000 samples a lone one has an RMS of 1 %.
  const auto lone = [](float sample) {
    std::vector<float> samples(10000);
    samples[5000] = sample;
    return samples;
  };
  const std::vector<std::pair<std::vector<float>, std::string>> cases = {
      {std::vector<float>(9000), kInsufficient},
      {std::vector<float>(9000, 1e-6F), kInsufficient},
      {std::vector<float>(9000, std::nextafter(1e-6F, 1.0F)), ""},
      {lone(0.9999e-5F), kInsufficient},
      {lone(-1.0001e-5F), ""},
      {std::vector<float>(4000, std::nanf("")), kInsufficient},
      {std::vector<float>(2047, 1), kInsufficient},
      {std::vector<float>(2048, 1), ""}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(refusalOf(wav({cases[i].first})), cases[i].second) << i;
  }
  EXPECT_EQ(analyze(wav({lone(1.0001e-5F)}), std::nullopt).rmsDbFS, -120);
  EXPECT_EQ(analyze(wav({std::vector<float>(2048, 1)}), std::nullopt).crestFactorDb, 0);
  // 90 frames at one a second are too few.
  EXPECT_EQ(refusalOf(wav({std::vector<float>(9000, 1)}, 1)), kInsufficient);
  EXPECT_EQ(AudioMeasurementError(AnalysisError::Case::unsupportedAudio).errorDescription,
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

TEST_F(Analyze, MixesAllChannelsAndDescribesTheFirstTwo) {
  const std::vector<float> a = tones({500}, 0.6, 30000);
  const AudioMeasurement quad = analyze(wav({a, a, std::vector<float>(30000), a}), std::nullopt);
  EXPECT_EQ(quad.channelCount, 4);
  EXPECT_EQ(*quad.stereoWidthPercent, 0);
  EXPECT_NEAR(quad.waveform[60], 0.75 * 0.6, 1e-2);
}

TEST_F(Analyze, MeasuresAFileThatEndsTooSoonAsFarAsItGoes) {
  const std::string whole = wav({noise(1, 0.5, 40000)});
  for (const std::size_t kept : {2047U, 2048U, 4608U}) {
    SCOPED_TRACE(kept);
    // One block of so many frames, of the 40,000 that the header promises.
    const std::string path = directory_.file(std::to_string(kept) + ".flac");
    testing::run("ffmpeg -v error -i '" + whole + "' -c:a flac -sample_fmt s16 -frame_size " +
                 std::to_string(kept) + " '" + path + "'");
    const std::string bytes = testing::bytesOf(path);
    const std::string sync = "\xff\xf8";
    testing::writeBytes(path, bytes.substr(0, bytes.find(sync, bytes.find(sync) + 2000)));
    EXPECT_EQ(refusalOf(path), kept < 2048 ? kInsufficient : "");
    if (kept == 4608) {
      const AudioMeasurement measurement = analyze(path, std::nullopt);
      EXPECT_EQ(measurement.analyzedSeconds, 4608.0 / 44100);
      EXPECT_EQ(measurement.sourceDurationSeconds, 40000.0 / 44100);
      EXPECT_GT(measurement.waveform.back(), 0.2);
    }
  }
}

TEST_F(Analyze, FindsTheKeyThatTheKeyAnalysisFinds) {
  // At this rate the division of a frame count by it does not always come back.
  std::vector<float> chord = tones({220, 261.63, 329.63}, 0.2, 11025 * 40, 11025);
  const std::vector<float> next = tones({233.08, 293.66, 349.23}, 0.2, 11025 * 40, 11025);
  chord.insert(chord.end(), next.begin(), next.end());
  const std::string path = wav({chord, noise(4, 0.1, chord.size())}, 11025);
  for (const double start : {0.0, 0.1, 3.3, 70.0, 78.0}) {
    SCOPED_TRACE(start);
    const AudioMeasurement measurement = analyze(path, 3, start, std::nullopt);
    const KeyDetection key =
        MusicalKeyAnalyzer::analyzeAudio(path, 3, start, measurement.analyzedSeconds, heard);
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
  EXPECT_EQ(analyze(path, -0.004, -3, std::nullopt), first);
  EXPECT_EQ(analyze(directory_.file("./") + "1.wav", 0.004, 0.0004, 0.0004), first);
  EXPECT_EQ(analyze(path, -1), first);
  EXPECT_NE(analyze(path, 0.005, 0, std::nullopt), first);
  EXPECT_NE(analyze(path, -0.005, 0, std::nullopt), first);
  EXPECT_NE(analyze(path, 0, 0.0005, std::nullopt), first);
  EXPECT_NE(analyze(path, 0.2), first);
  EXPECT_EQ(analyze(path, std::nan(""), 0, std::nullopt), first);
  EXPECT_EQ(refusalOf(path, 0, 0.0005), kInsufficient);
  std::filesystem::last_write_time(path, when + std::chrono::milliseconds(1));
  EXPECT_NE(analyze(path, std::nullopt), first);
  testing::writeWav(path, {tones({440}, 0.25, 9001)});
  std::filesystem::last_write_time(path, when);
  EXPECT_NE(analyze(path, std::nullopt), first);
  EXPECT_EQ(analyze(wav({tones({440}, 0.5, 9000)}), std::nullopt), first);
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

TEST(AudioMeasurement, BecomesAnObjectOfUnroundedEntries) {
  AudioMeasurement measurement = {1.1,
                                  2.2,
                                  44100,
                                  6,
                                  -0.7,
                                  -20.3,
                                  19.6,
                                  11.25,
                                  0.0000123,
                                  0.031,
                                  -0.5,
                                  173.2,
                                  1234.5,
                                  {{"sub_20_60", 40}},
                                  {0.1, 0.2},
                                  {{0.3, 0.4}, {0.5, 1}},
                                  "F\u266f minor",
                                  0.96};
  Json expected = *parseJson(
      R"({"analyzedSeconds":1.1,"sourceDurationSeconds":2.2,"sampleRate":44100.0,"channelCount":6,)"
      R"("samplePeakDbFS":-0.7,"rmsDbFS":-20.3,"crestFactorDb":19.6,"dynamicRangeDb":11.25,)"
      R"("dcOffset":1.23e-5,"clippedSamplePercent":0.031,"stereoCorrelation":-0.5,)"
      R"("stereoWidthPercent":173.2,"spectralCentroidHz":1234.5,"bandEnergyPercent":)"
      R"({"sub_20_60":40.0},"waveform":[0.1,0.2],"spectrogram":[[0.3,0.4],[0.5,1.0]],)"
      R"("key":"F\u266f minor","keyConfidence":0.96,"scope":"rawClipSourcePreFx",)"
      R"("privacy":"Le fichier audio reste sur ce Mac.","measurementNotice":"Analyse locale du )"
      R"(fichier source du clip, avant les devices, retours et traitements master. Ce n\u2019est )"
      R"(pas le rendu entendu au master."})");
  EXPECT_EQ(compactJson(measurement.dictionary()), compactJson(expected));
  measurement.stereoCorrelation = measurement.keyConfidence = std::nullopt;
  expected.erase("stereoCorrelation");
  expected.erase("keyConfidence");
  EXPECT_EQ(measurement.dictionary(), expected);
  measurement.stereoWidthPercent = std::nullopt;
  measurement.key = std::nullopt;
  expected.erase("stereoWidthPercent");
  expected.erase("key");
  EXPECT_EQ(measurement.dictionary(), expected);
}

}  // namespace
}  // namespace brindlevane
