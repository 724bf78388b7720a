#include "audio/AudioMeasurementError.h"

namespace brindlevane {

AudioMeasurementError AudioMeasurementError::unreadableAudio() {
  return {Case::unreadableAudio, "Le fichier audio du clip est illisible."};
}

AudioMeasurementError AudioMeasurementError::unsupportedAudio() {
  return {Case::unsupportedAudio, "Le format audio de ce clip n\u2019est pas pris en charge."};
}

AudioMeasurementError AudioMeasurementError::insufficientSignal() {
  return {Case::insufficientSignal,
          "Le clip ne contient pas assez de signal pour une analyse audio fiable."};
}

}  // namespace brindlevane
