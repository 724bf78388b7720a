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

using testing::joined;
using testing::noise;
using testing::Signal;
using testing::tones;

const std::string kUnreadable = "Le fichier audio du clip est illisible.";
const std::string kInsufficient =
    "Le clip ne contient pas assez de signal pour une analyse audio fiable.";

// The listener of these tests works in this process.
AudioMeasurement analyze(const std::string& path, double transposeSemitones = 0,
                         double startSeconds = 0, std::optional<double> duration = std::nullopt) {
  return LocalAudioAnalyzer::analyze(path, transposeSemitones, startSeconds, duration, heard);
}

class Analyze : public ::testing::Test {
 protected:
  std::string wav(const Signal& signal, double sampleRate = 44100) {
    const std::string path = directory_.file(std::to_string(++files_) + ".wav");
    testing::writeWav(path, signal, sampleRate);
    return path;
  }

  // A file in blocks of so many frames, of which the last one is not whole.
  std::string cutShort(const Signal& signal, std::size_t framesPerBlock) {
    const std::string path = directory_.file(std::to_string(++files_) + ".flac");
    testing::run("ffmpeg -v error -i " + wav(signal) + " -c:a flac -sample_fmt s16 -frame_size " +
                 std::to_string(framesPerBlock) + " " + path);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 100);
    return path;
  }

  static std::string refusalOf(const std::string& path, double start = 0,
                               std::optional<double> duration = std::nullopt) {
    return testing::refusalOf([&] { return analyze(path, 0, start, duration); });
  }

  TemporaryFolder directory_;
  int files_ = 0;
};

// Before the others, which fill the memory.
TEST_F(Analyze, AnswersFromMemoryUntilTheFileChanges) {
  const std::string path = wav({tones({440}, 0.5, 9000)});
  const auto when = std::filesystem::last_write_time(path);
  const AudioMeasurement first = analyze(path);
  // The same size and time, so that only a look into the file could tell the difference.
  testing::writeWav(path, {tones({440}, 0.25, 9000)});
  std::filesystem::last_write_time(path, when);
  EXPECT_EQ(analyze(path, -0.004, -3), first);
  EXPECT_EQ(analyze(directory_.file("./") + "1.wav", 0.004, 0.0004, 0.0004), first);
  EXPECT_EQ(analyze(path, 0, 0, -1), first);
  EXPECT_NE(analyze(path, 0.005, 0), first);
  EXPECT_NE(analyze(path, -0.005, 0), first);
  EXPECT_NE(analyze(path, 0, 0.0005), first);
  EXPECT_NE(analyze(path, 0, 0, 0.2), first);
  EXPECT_EQ(analyze(path, std::nan(""), 0), first);
  EXPECT_EQ(refusalOf(path, 0, 0.0005), kInsufficient);
  std::filesystem::last_write_time(path, when + std::chrono::milliseconds(1));
  EXPECT_NE(analyze(path), first);
  testing::writeWav(path, {tones({440}, 0.25, 9001)});
  std::filesystem::last_write_time(path, when);
  EXPECT_NE(analyze(path), first);
  EXPECT_EQ(analyze(wav({tones({440}, 0.5, 9000)})), first);
}

// 3 s at 8 kHz, the last one at a tenth of the level, with 24 spikes early on the left channel
// where the sines of both channels pass through 0, and a third channel without a sound.
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
  song.emplace_back(24000);
  return song;
}

TEST_F(Analyze, GivesEachFieldItsOwnMeasure) {
  const AudioMeasurement measurement = analyze(wav(song(), 8000));
  EXPECT_EQ(measurement.analyzedSeconds, 3);
  EXPECT_EQ(measurement.sourceDurationSeconds, 3);
  EXPECT_EQ(measurement.sampleRate, 8000);
  EXPECT_EQ(measurement.channelCount, 3);
  // The squares on the left sum up to 16080 * 0.32 + 24 * 1.5625, those on the right to 16080 *
  // 0.1275, the products of both to 16080 * 0.16 + 24 * 0.0625, and the samples to 30 and 840.
  EXPECT_NEAR(measurement.samplePeakDbFS, 1.938200, 1e-6);
  EXPECT_NEAR(measurement.rmsDbFS, -9.979960, 1e-6);
  EXPECT_NEAR(measurement.crestFactorDb, 11.918160, 1e-6);
  EXPECT_NEAR(measurement.dynamicRangeDb, 20, 1e-4);
  EXPECT_NEAR(measurement.dcOffset, 870.0 / 72000, 1e-8);
  EXPECT_EQ(measurement.clippedSamplePercent, 100.0 / 3000);
  EXPECT_NEAR(*measurement.stereoCorrelation, 0.795110, 1e-6);
  EXPECT_NEAR(*measurement.stereoWidthPercent, 41.0325, 1e-4);
  // The mix holds 1000 Hz at 0.4 and 250 Hz at 0.1.
  EXPECT_NEAR(measurement.bandEnergyPercent.at("mid_400_2000"), 94.1, 0.5);
  EXPECT_NEAR(measurement.spectralCentroidHz, 900, 100);
  EXPECT_EQ(measurement.waveform.size(), 120U);
  EXPECT_NEAR(measurement.waveform.back(), 0.051, 0.002);
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
  EXPECT_NEAR(analyze(wav({samples}, 4000)).dynamicRangeDb, 42, 1e-4);
}

TEST_F(Analyze, HearsAClipInTheMiddleOfItsFileAsIfItWereAFileOfItsOwn) {
  const Signal clip = song();
  Signal file;
  for (std::size_t channel = 0; channel < clip.size(); ++channel) {
    const std::vector<float> before = noise(static_cast<unsigned>(channel), 1, 10001);
    file.push_back(joined(joined(before, clip[channel]), noise(3, 0.9, 5000)));
  }
  const AudioMeasurement alone = analyze(wav(clip, 8000), -4, 0);
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
  const double infinity = std::numeric_limits<double>::infinity();
  using Duration = std::optional<double>;
  // start and duration in seconds, then the first frame and their count
  const std::vector<std::tuple<double, Duration, double, double>> cases = {
      {0, std::nullopt, 0, 360000},     {-3, 200, 0, 360000},
      {0, infinity, 0, 360000},         {10, std::nullopt, 40000, 340000},
      {94, std::nullopt, 376000, 4000}, {1.00024, 0.51249, 4000, 2049},
      {2.0003, 0.512, 8001, 2048},      {-infinity, 1, 0, 4000},
      {0, 90.001, 0, 360000},           {0, 89.99975, 0, 359999},
      {94.488, 1, 377952, 2048},        {0.5, 1, 2000, 4000}};
  for (const auto& [start, duration, startFrame, frames] : cases) {
    SCOPED_TRACE(start);
    const AudioMeasurement measurement = analyze(path, 0, start, duration);
    EXPECT_EQ(measurement.analyzedSeconds, frames / 4000);
    EXPECT_EQ(measurement.sourceDurationSeconds, 95);
    EXPECT_NEAR(measurement.dcOffset, (startFrame + (frames - 1) / 2) / 380000, 1e-8);
  }
  for (const auto& [start, duration] :
       {std::pair(95.0, 1.0), {1e300, 1}, {0, 0.51}, {2, 1e-300}, {1, -1}, {1, std::nan("")}}) {
    EXPECT_EQ(refusalOf(path, start, duration), kInsufficient) << start;
  }
  EXPECT_EQ(analyze(path, infinity, std::nan(""), 1).dcOffset, analyze(path, 0, 0, 1).dcOffset);
}

TEST_F(Analyze, RefusesWhatCannotBeMeasured) {
  testing::writeBytes(directory_.file("text.wav"), "no audio at all");
  for (const char* const name : {"text.wav", "missing.wav", ""}) {
    EXPECT_EQ(refusalOf(directory_.file(name)), kUnreadable) << name;
  }
  // Peak and RMS on either side of their floors; of 10,000 samples a lone one has an RMS of 1 %.
  const std::vector<float> silence(9999);
  const std::vector<std::pair<std::vector<float>, std::string>> cases = {
      {silence, kInsufficient},
      {std::vector<float>(9000, 1e-6F), kInsufficient},
      {std::vector<float>(9000, std::nextafter(1e-6F, 1.0F)), ""},
      {joined(silence, {0.9999e-5F}), kInsufficient},
      {joined(silence, {-1.0001e-5F}), ""},
      {std::vector<float>(4000, std::nanf("")), kInsufficient},
      {std::vector<float>(2047, 1), kInsufficient}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(refusalOf(wav({cases[i].first})), cases[i].second) << i;
  }
  EXPECT_EQ(analyze(wav({joined(silence, {1.0001e-5F})})).rmsDbFS, -120);
  // 90 frames at one a second are too few.
  EXPECT_EQ(refusalOf(wav({std::vector<float>(9000, 1)}, 1)), kInsufficient);
}

TEST_F(Analyze, MeasuresAShortSegmentWithoutSpectrumOrKey) {
  // Of these samples the RMS comes out a little above the peak.
  const AudioMeasurement measurement = analyze(wav({std::vector<float>(4000, 0.95F)}));
  EXPECT_EQ(measurement.crestFactorDb, 0);
  EXPECT_EQ(measurement.dynamicRangeDb, 0);
  EXPECT_TRUE(measurement.bandEnergyPercent.empty());
  EXPECT_TRUE(measurement.spectrogram.empty());
  EXPECT_EQ(measurement.key, std::nullopt);
}

// The key beside a measurement is the one that the key analysis finds in as long a segment.
void expectKeyOfItsOwn(const std::string& path, double start) {
  const AudioMeasurement measurement = analyze(path, 3, start);
  const KeyDetection key =
      MusicalKeyAnalyzer::analyzeAudio(path, 3, start, measurement.analyzedSeconds, heard);
  EXPECT_EQ(measurement.key, key.key);
  EXPECT_EQ(measurement.keyConfidence, key.confidence);
}

TEST_F(Analyze, MeasuresAFileThatEndsTooSoonAsFarAsItGoes) {
  EXPECT_EQ(refusalOf(cutShort({noise(1, 0.5, 3000)}, 2047)), kInsufficient);
  EXPECT_EQ(analyze(cutShort({noise(1, 0.5, 3000)}, 2048)).analyzedSeconds, 2048.0 / 44100);
  const AudioMeasurement measurement = analyze(cutShort({noise(1, 0.5, 9000)}, 4608));
  EXPECT_EQ(measurement.analyzedSeconds, 4608.0 / 44100);
  EXPECT_EQ(measurement.sourceDurationSeconds, 9000.0 / 44100);
  EXPECT_GT(measurement.waveform.back(), 0.2);
  // The last of 921,600 frames, which would complete a part of the chroma, is not heard for the
  // key.
  expectKeyOfItsOwn(cutShort({noise(1, 0.5, 925000)}, 61440), 0);
}

TEST_F(Analyze, DamageIsMetWhereEnoughIsPlanned) {
  const std::string flat =
      "Le clip ne contient pas assez de signal tonal pour d\u00e9terminer une key.";
  const std::string path = cutShort({noise(1, 0.5, 30000)}, 4608);
  testing::writeBytes(path, testing::withHole(testing::bytesOf(path), 10000, 2000));
  const std::vector<std::tuple<int, std::string, std::string>> cases = {
      {2047, kInsufficient, flat},
      {2048, kUnreadable, flat},
      {4096, kUnreadable, flat},
      {4097, kUnreadable, kUnreadable}};
  for (const auto& [frames, noMeasurement, noKey] : cases) {
    const double seconds = frames / 44100.0;
    EXPECT_EQ(refusalOf(path, 0, seconds), noMeasurement) << frames;
    EXPECT_EQ(testing::refusalOf(
                  [&] { return MusicalKeyAnalyzer::analyzeAudio(path, 0, 0, seconds, heard); }),
              noKey)
        << frames;
  }
}

TEST_F(Analyze, FindsTheKeyThatTheKeyAnalysisFinds) {
  // At this rate the division of a frame count by it does not always come back.
  const std::vector<float> chords = joined(tones({220, 261.63, 329.63}, 0.2, 11025 * 40, 11025),
                                           tones({233.08, 293.66, 349.23}, 0.2, 11025 * 40, 11025));
  const std::string path = wav({chords, noise(4, 0.1, chords.size())}, 11025);
  for (const double start : {0.0, 0.1, 3.3, 70.0, 78.0}) {
    SCOPED_TRACE(start);
    expectKeyOfItsOwn(path, start);
  }
}

TEST(MeasurementCache, IsEmptiedWhenFull) {
  MeasurementCache cache;
  AudioMeasurement measurement;
  const auto store = [&](int number) {
    measurement.channelCount = number;
    cache.store({"/a", 1, 0.0, number, 0, 0}, measurement);
  };
  for (int i = 0; i < 24; ++i) {
    store(i);
  }
  EXPECT_EQ(cache.size(), 24U);
  EXPECT_EQ(cache.find({"/a", 1, 0.0, 7, 0, 0})->channelCount, 7);
  store(7);
  EXPECT_EQ(cache.size(), 1U);
  EXPECT_EQ(cache.find({"/a", 1, 0.0, 7, 0, 0})->channelCount, 7);
}

}  // namespace
}  // namespace brindlevane
