#include "listener/Hearing.h"

#include "audio/KeyEstimate.h"
#include "audio/SegmentMeasurement.h"
#include "contract/Listening.h"

namespace brindlevane {

std::optional<std::string> heard(const std::string& line) {
  const std::optional<ListeningTask> task = taskOf(line);
  if (!task) {
    return std::nullopt;
  }
  try {
    return task->kind == ListeningTask::Kind::key
               ? answerLine(MusicalKeyAnalyzer::estimatedKey(*task))
               : answerLine(LocalAudioAnalyzer::measuredSegment(*task));
  } catch (const AnalysisError& error) {
    return answerLine(error.kind);
  }
}

}  // namespace brindlevane
