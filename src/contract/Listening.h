#pragma once

#include "contract/AnalysisError.h"
#include "contract/AudioMeasurement.h"
#include "contract/KeyDetection.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// What passes between the server and the listener, the program that decodes audio files: a task
/// in, an answer out, each one line of JSON without its line feed.
namespace brindlevane {

/// A segment of an audio file, and what is to be found out about it. Numbers may be beyond all
/// measure or NaN; who listens bounds them.
struct ListeningTask {
  enum class Kind { measurement, key };

  Kind kind = Kind::measurement;
  std::string path;
  double transposeSemitones = 0;
  double startSeconds = 0;
  std::optional<double> duration = std::nullopt;  ///< seconds
};

/// Whoever listens: takes a task's line, gives the answer's; nothing when there was no answer.
using Listener = std::function<std::optional<std::string>(const std::string& task)>;

[[nodiscard]] std::string taskLine(const ListeningTask& task);

/// The task of a line; nothing when the line is no task.
[[nodiscard]] std::optional<ListeningTask> taskOf(std::string_view line);

[[nodiscard]] std::string answerLine(const AudioMeasurement& measurement);
[[nodiscard]] std::string answerLine(const KeyDetection& detection);
[[nodiscard]] std::string answerLine(AnalysisError::Case failure);

/// The measurement of an answer.
///
/// @throws AudioMeasurementError  the answer's own; unreadableAudio where there is no answer, or
///     none that can be understood
[[nodiscard]] AudioMeasurement measurementOf(const std::optional<std::string>& answer);

/// The key of an answer.
///
/// @throws KeyAnalysisError  as with measurementOf
[[nodiscard]] KeyDetection keyOf(const std::optional<std::string>& answer);

}  // namespace brindlevane
