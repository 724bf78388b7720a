#include "contract/AnalysisError.h"

namespace brindlevane {
namespace {

const char* textOf(AnalysisError::Case kind, const char* insufficientSignalText) {
  switch (kind) {
    case AnalysisError::Case::unreadableAudio:
      return "Le fichier audio du clip est illisible.";
    case AnalysisError::Case::unsupportedAudio:
      return "Le format audio de ce clip n\u2019est pas pris en charge.";
    default:
      return insufficientSignalText;
  }
}

}  // namespace

AnalysisError::AnalysisError(Case kindOfFailure, const char* insufficientSignalText)
    : kind(kindOfFailure), errorDescription(textOf(kindOfFailure, insufficientSignalText)) {}

AudioMeasurementError::AudioMeasurementError(Case kindOfFailure)
    : AnalysisError(kindOfFailure,
                    "Le clip ne contient pas assez de signal pour une analyse audio fiable.") {}

KeyAnalysisError::KeyAnalysisError(Case kindOfFailure)
    : AnalysisError(kindOfFailure,
                    "Le clip ne contient pas assez de signal tonal pour d\u00e9terminer une key.") {
}

}  // namespace brindlevane
