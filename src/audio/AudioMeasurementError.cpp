#include "audio/AudioMeasurementError.h"

namespace brindlevane {

AudioMeasurementError AudioMeasurementError::unreadableAudio() {
  return AudioMeasurementError("Le fichier audio du clip est illisible.");
}

AudioMeasurementError AudioMeasurementError::unsupportedAudio() {
  return AudioMeasurementError("Le format audio de ce clip n\u2019est pas pris en charge.");
}

AudioMeasurementError AudioMeasurementError::insufficientSignal() {
  return AudioMeasurementError(
      "Le clip ne contient pas assez de signal pour une analyse audio fiable.");
}

}  // namespace brindlevane
