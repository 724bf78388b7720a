#include "contract/Listening.h"
#include "platform/Json.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

TEST(Listening, ATaskIsReadAsItWasWritten) {
  const double infinity = std::numeric_limits<double>::infinity();
  const ListeningTask task = {ListeningTask::Kind::key, std::string("/a \"\n\0\u00e9", 8), -0.1,
                              infinity, -infinity};
  const ListeningTask read = taskOf(taskLine(task)).value();
  EXPECT_EQ(read.kind, task.kind);
  EXPECT_EQ(read.path, task.path);
  EXPECT_EQ(read.transposeSemitones, -0.1);
  EXPECT_EQ(read.startSeconds, std::numeric_limits<double>::max());
  EXPECT_EQ(read.duration, std::numeric_limits<double>::lowest());
  const ListeningTask other = taskOf(taskLine({.path = "", .startSeconds = std::nan("")})).value();
  EXPECT_EQ(other.kind, ListeningTask::Kind::measurement);
  EXPECT_TRUE(std::isnan(other.startSeconds));
  EXPECT_EQ(other.duration, std::nullopt);
  for (const char* const line : {"", "[]", "{}", R"({"task":"key","path":1})"}) {
    EXPECT_FALSE(taskOf(line)) << line;
  }
}

TEST(Listening, AMeasurementIsReadAsItWasWrittenAndAnObjectOfUnroundedEntries) {
  AudioMeasurement measurement = {1.1,   2.2,  44100, 6,      -0.7, -20.3, 19.6, 11.25, 0.0000123,
                                  0.031, -0.5, 173.2, 1234.5, {},   {},    {},   {},    {}};
  measurement.bandEnergyPercent = {{"bass_60_120", 60}, {"sub_20_60", 0.1 + 0.2}};
  measurement.waveform = {0.1, 1e-300};
  measurement.spectrogram = {{0.3}, {0.5, 1}};
  Json expected = *parseJson(
      R"({"analyzedSeconds":1.1,"sourceDurationSeconds":2.2,"sampleRate":44100.0,"channelCount":6,)"
      R"("samplePeakDbFS":-0.7,"rmsDbFS":-20.3,"crestFactorDb":19.6,"dynamicRangeDb":11.25,)"
      R"("dcOffset":1.23e-5,"clippedSamplePercent":0.031,"stereoCorrelation":-0.5,)"
      R"("stereoWidthPercent":173.2,"spectralCentroidHz":1234.5,"bandEnergyPercent":)"
      R"({"bass_60_120":60.0,"sub_20_60":0.30000000000000004},"waveform":[0.1,1e-300],)"
      R"("spectrogram":[[0.3],[0.5,1.0]],"scope":"rawClipSourcePreFx",)"
      R"("privacy":"Le fichier audio reste sur ce Mac.","measurementNotice":"Analyse locale du )"
      R"(fichier source du clip, avant les devices, retours et traitements master. Ce n\u2019est )"
      R"(pas le rendu entendu au master."})");
  EXPECT_EQ(compactJson(measurement.dictionary()), compactJson(expected));
  EXPECT_EQ(measurementOf(answerLine(measurement)), measurement);
  measurement.stereoCorrelation = measurement.stereoWidthPercent = std::nullopt;
  measurement.key = "F\u266f minor";
  measurement.keyConfidence = 0.96;
  expected.erase("stereoCorrelation");
  expected.erase("stereoWidthPercent");
  expected.update({{"key", "F\u266f minor"}, {"keyConfidence", 0.96}});
  EXPECT_EQ(compactJson(measurement.dictionary()), compactJson(expected));
  EXPECT_EQ(measurementOf(answerLine(measurement)), measurement);
  measurement.waveform[1] = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(std::isnan(measurementOf(answerLine(measurement)).waveform[1]));
}

TEST(Listening, AKeyIsReadAsItWasWritten) {
  const KeyDetection key = keyOf(answerLine(KeyDetection{"B major", 0.1, 0.7}));
  EXPECT_EQ(key.key, "B major");
  EXPECT_EQ(key.confidence, 0.1);
  EXPECT_EQ(key.analyzedSeconds, 0.7);
}

TEST(Listening, AFailureKeepsItsCaseAndNonsenseIsUnreadable) {
  const auto expectRefusals = [](const std::optional<std::string>& answer,
                                 const std::string& measurement, const std::string& key) {
    SCOPED_TRACE(answer.value_or("none"));
    EXPECT_EQ(testing::refusalOf([&] { return measurementOf(answer); }), measurement);
    EXPECT_EQ(testing::refusalOf([&] { return keyOf(answer); }), key);
  };
  const std::string unsupported = "Le format audio de ce clip n\u2019est pas pris en charge.";
  using Case = AnalysisError::Case;
  EXPECT_EQ(answerLine(Case::unreadableAudio), R"({"failure":"unreadableAudio"})");
  expectRefusals(answerLine(Case::unsupportedAudio), unsupported, unsupported);
  expectRefusals(answerLine(Case::insufficientSignal),
                 "Le clip ne contient pas assez de signal pour une analyse audio fiable.",
                 "Le clip ne contient pas assez de signal tonal pour d\u00e9terminer une key.");
  std::string wrongKind = answerLine(AudioMeasurement{});
  wrongKind.replace(wrongKind.find("\"waveform\":[]"), 13, "\"waveform\":{}");
  const std::string unreadable = "Le fichier audio du clip est illisible.";
  for (const std::optional<std::string>& answer : std::vector<std::optional<std::string>>{
           std::nullopt, "", "[]", R"({"measurement":{}})", R"({"key":{"key":1}})", wrongKind,
           R"({"failure":"unsupportedAudio","key":[]})", R"({"failure":"none"})",
           answerLine(Case::unreadableAudio)}) {
    expectRefusals(answer, unreadable, unreadable);
  }
}

}  // namespace
}  // namespace brindlevane
