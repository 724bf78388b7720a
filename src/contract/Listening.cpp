#include "contract/Listening.h"

#include "platform/Json.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace brindlevane {
namespace {

using Case = AnalysisError::Case;

// In the order of the cases.
constexpr std::array kFailures = {"unreadableAudio", "unsupportedAudio", "insufficientSignal"};

/// JSON has no infinity; a NaN is written as null.
double finite(double number) {
  constexpr double kLargest = std::numeric_limits<double>::max();
  return std::clamp(number, -kLargest, kLargest);
}

double numberOf(const Json& value) {
  return value.is_null() ? std::numeric_limits<double>::quiet_NaN() : value.get<double>();
}

std::optional<double> optionalNumber(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? std::nullopt : std::optional(numberOf(*found));
}

std::vector<double> numbersOf(const Json& array) {
  std::vector<double> numbers;
  for (const Json& value : array.get_ref<const Json::array_t&>()) {
    numbers.push_back(numberOf(value));
  }
  return numbers;
}

AudioMeasurement measurementFrom(const Json& object) {
  const auto number = [&](const char* key) { return numberOf(object.at(key)); };
  AudioMeasurement result;
  result.analyzedSeconds = number("analyzedSeconds");
  result.sourceDurationSeconds = number("sourceDurationSeconds");
  result.sampleRate = number("sampleRate");
  result.channelCount = static_cast<int>(object.at("channelCount").get_ref<const std::int64_t&>());
  result.samplePeakDbFS = number("samplePeakDbFS");
  result.rmsDbFS = number("rmsDbFS");
  result.crestFactorDb = number("crestFactorDb");
  result.dynamicRangeDb = number("dynamicRangeDb");
  result.dcOffset = number("dcOffset");
  result.clippedSamplePercent = number("clippedSamplePercent");
  result.stereoCorrelation = optionalNumber(object, "stereoCorrelation");
  result.stereoWidthPercent = optionalNumber(object, "stereoWidthPercent");
  result.spectralCentroidHz = number("spectralCentroidHz");
  for (const auto& [band, percent] : object.at("bandEnergyPercent").items()) {
    result.bandEnergyPercent[band] = numberOf(percent);
  }
  result.waveform = numbersOf(object.at("waveform"));
  for (const Json& row : object.at("spectrogram")) {
    result.spectrogram.push_back(numbersOf(row));
  }
  if (object.contains("key")) {
    result.key = object["key"].get<std::string>();
  }
  result.keyConfidence = optionalNumber(object, "keyConfidence");
  return result;
}

KeyDetection keyFrom(const Json& object) {
  return {object.at("key").get<std::string>(), numberOf(object.at("confidence")),
          numberOf(object.at("analyzedSeconds"))};
}

/// What an answer holds under a key, read by `read`.
template <typename Error, typename Read>
auto held(const std::optional<std::string>& answer, const char* key, Read read) {
  const std::optional<Json> object = answer ? parseJson(*answer) : std::nullopt;
  try {
    if (object && object->contains(key)) {
      return read(object->at(key));
    }
  } catch (const Json::exception&) {
    // An answer of another form is none.
  }
  for (std::size_t i = 0; i < kFailures.size(); ++i) {
    if (object == Json{{"failure", kFailures[i]}}) {
      throw Error(static_cast<Case>(i));
    }
  }
  throw Error(Case::unreadableAudio);
}

}  // namespace

std::string taskLine(const ListeningTask& task) {
  Json object = {{"task", task.kind == ListeningTask::Kind::key ? "key" : "measurement"},
                 {"path", task.path},
                 {"transposeSemitones", finite(task.transposeSemitones)},
                 {"startSeconds", finite(task.startSeconds)}};
  if (task.duration) {
    object["duration"] = finite(*task.duration);
  }
  return compactJson(object);
}

std::optional<ListeningTask> taskOf(std::string_view line) {
  const std::optional<Json> object = parseJson(line);
  if (!object) {
    return std::nullopt;
  }
  try {
    const auto& kind = object->at("task").get_ref<const std::string&>();
    return ListeningTask{
        kind == "key" ? ListeningTask::Kind::key : ListeningTask::Kind::measurement,
        object->at("path").get<std::string>(), numberOf(object->at("transposeSemitones")),
        numberOf(object->at("startSeconds")), optionalNumber(*object, "duration")};
  } catch (const Json::exception&) {
    return std::nullopt;
  }
}

std::string answerLine(const AudioMeasurement& measurement) {
  return compactJson({{"measurement", measurement.dictionary()}});
}

std::string answerLine(const KeyDetection& detection) {
  return compactJson({{"key",
                       {{"key", detection.key},
                        {"confidence", detection.confidence},
                        {"analyzedSeconds", detection.analyzedSeconds}}}});
}

std::string answerLine(AnalysisError::Case failure) {
  return compactJson({{"failure", kFailures[static_cast<std::size_t>(failure)]}});
}

AudioMeasurement measurementOf(const std::optional<std::string>& answer) {
  return held<AudioMeasurementError>(answer, "measurement", measurementFrom);
}

KeyDetection keyOf(const std::optional<std::string>& answer) {
  return held<KeyAnalysisError>(answer, "key", keyFrom);
}

}  // namespace brindlevane
