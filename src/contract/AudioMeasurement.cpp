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
  const auto addWherePresent = [&object](const char* name, const auto& field) {
    if (field) {
      object[name] = *field;
    }
  };
  addWherePresent("stereoCorrelation", stereoCorrelation);
  addWherePresent("stereoWidthPercent", stereoWidthPercent);
  addWherePresent("key", key);
  addWherePresent("keyConfidence", keyConfidence);
  return object;
}

}  // namespace brindlevane
