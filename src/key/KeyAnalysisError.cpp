#include "key/KeyAnalysisError.h"

namespace brindlevane {

KeyAnalysisError KeyAnalysisError::unreadableAudio() {
  return {Case::unreadableAudio, "Le fichier audio du clip est illisible."};
}

KeyAnalysisError KeyAnalysisError::unsupportedAudio() {
  return {Case::unsupportedAudio, "Le format audio de ce clip n\u2019est pas pris en charge."};
}

KeyAnalysisError KeyAnalysisError::insufficientSignal() {
  return {Case::insufficientSignal,
          "Le clip ne contient pas assez de signal tonal pour d\u00e9terminer une key."};
}

}  // namespace brindlevane
