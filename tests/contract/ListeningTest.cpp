#include "contract/Listening.h"
#include "platform/Json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

using Case = AnalysisError::Case;

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
  const ListeningTask other = taskOf(taskLine({.kind = ListeningTask::Kind::measurement,
                                               .path = "",
                                               .startSeconds = std::nan("")}))
                                  .value();
  EXPECT_EQ(other.kind, ListeningTask::Kind::measurement);
  EXPECT_TRUE(std::isnan(other.startSeconds));
  EXPECT_EQ(other.duration, std::nullopt);
  for (const char* const line : {"", "[]", "{}", R"({"task":"key","path":1})"}) {
    EXPECT_FALSE(taskOf(line)) << line;
  }
}

TEST(Listening, AnAnswerIsReadAsItWasWritten) {
  AudioMeasurement measurement = {1.1,   2.2,  44100, 6, -0.1, -20.3, 19.6, 11.25, 1.23e-5,
                                  0.031, -0.5, 173.2, 0, {},   {},    {},   {},    {}};
  measurement.bandEnergyPercent = {{"sub_20_60", 1.0 / 3}, {"bass_60_120", 60}};
  measurement.waveform = {0.1, 1e-300};
  measurement.spectrogram = {{0.3}, {0.5, 1}};
  EXPECT_EQ(measurementOf(answerLine(measurement)), measurement);
  measurement.key = "F\u266f minor";
  measurement.keyConfidence = 0.96;
  measurement.stereoCorrelation = measurement.stereoWidthPercent = std::nullopt;
  EXPECT_EQ(measurementOf(answerLine(measurement)), measurement);
  measurement.waveform[1] = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(std::isnan(measurementOf(answerLine(measurement)).waveform[1]));
  const KeyDetection key = keyOf(answerLine(KeyDetection{"B major", 0.1, 0.7}));
  EXPECT_EQ(key.key, "B major");
  EXPECT_EQ(key.confidence, 0.1);
  EXPECT_EQ(key.analyzedSeconds, 0.7);
}

/// The case of the error that reading an answer ends in.
template <typename Error, typename Read>
Case failureOf(const Read& read, const std::optional<std::string>& answer) {
  try {
    (void)read(answer);
    ADD_FAILURE() << answer.value_or("none");
    return {};
  } catch (const Error& error) {
    return error.kind;
  }
}

TEST(Listening, AFailureKeepsItsCaseAndNonsenseIsUnreadable) {
  for (const Case each :
       {Case::unreadableAudio, Case::unsupportedAudio, Case::insufficientSignal}) {
    EXPECT_EQ(failureOf<AudioMeasurementError>(measurementOf, answerLine(each)), each);
    EXPECT_EQ(failureOf<KeyAnalysisError>(keyOf, answerLine(each)), each);
  }
  std::string wrongKind = answerLine(AudioMeasurement{});
  wrongKind.replace(wrongKind.find("\"waveform\":[]"), 13, "\"waveform\":{}");
  for (const std::optional<std::string>& answer : std::vector<std::optional<std::string>>{
           std::nullopt, "", "[]", "{\"measurement\":{}}", "{\"key\":{\"key\":1}}", wrongKind,
           "{\"failure\":\"unsupportedAudio\",\"key\":[]}", R"({"failure":"none"})"}) {
    EXPECT_EQ(failureOf<AudioMeasurementError>(measurementOf, answer), Case::unreadableAudio);
    EXPECT_EQ(failureOf<KeyAnalysisError>(keyOf, answer), Case::unreadableAudio);
  }
}

}  // namespace
}  // namespace brindlevane
