#include "contract/AudioMeasurement.h"

namespace brindlevane {

Json AudioMeasurement::dictionary() const {
  Json object = {
      {"scope", "rawClipSourcePreFx"},
      {"analyzedSeconds", analyzedSeconds},
      {"sourceDurationSeconds", sourceDurationSeconds},
      {"sampleRate", sampleRate},
      {"channelCount", channelCount},
      {"samplePeakDbFS", samplePeakDbFS},
      {"rmsDbFS", rmsDbFS},
      {"crestFactorDb", crestFactorDb},
      {"dynamicRangeDb", dynamicRangeDb},
      {"dcOffset", dcOffset},
      {"clippedSamplePercent", clippedSamplePercent},
      {"spectralCentroidHz", spectralCentroidHz},
      {"bandEnergyPercent", bandEnergyPercent},
      {"waveform", waveform},
      {"spectrogram", spectrogram},
      {"measurementNotice",
       "Analyse locale du fichier source du clip, avant les devices, retours et traitements "
       "master. Ce n\u2019est pas le rendu entendu au master."},
      {"privacy", "Le fichier audio reste sur ce Mac."},
  };
  if (stereoCorrelation) {
    object["stereoCorrelation"] = *stereoCorrelation;
  }
  if (stereoWidthPercent) {
    object["stereoWidthPercent"] = *stereoWidthPercent;
  }
  if (key) {
    object["key"] = *key;
  }
  if (keyConfidence) {
    object["keyConfidence"] = *keyConfidence;
  }
  return object;
}

}  // namespace brindlevane
