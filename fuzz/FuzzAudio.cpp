// Any bytes as an audio file: decoding and measuring end in a measurement or one of the errors.

#include "audio/SegmentMeasurement.h"
#include "contract/AnalysisError.h"

#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

// One file for each process, written anew for each input.
std::string inputPath() {
  return (std::filesystem::temp_directory_path() /
          ("brindlevane-fuzz-" + std::to_string(::getpid())))
      .string();
}

bool isPlausible(const brindlevane::AudioMeasurement& measurement) {
  return measurement.analyzedSeconds > 0 && measurement.analyzedSeconds <= 90 &&
         std::isfinite(measurement.rmsDbFS) && std::isfinite(measurement.spectralCentroidHz) &&
         measurement.waveform.size() == 120 && measurement.spectrogram.size() <= 73;
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = inputPath();
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  try {
    // Some begin inside the file.
    const double start = size % 2 == 0 ? 0 : 0.01;
    if (!isPlausible(brindlevane::LocalAudioAnalyzer::measuredSegment(
            {.path = path, .startSeconds = start}))) {
      std::abort();
    }
  } catch (const brindlevane::AudioMeasurementError&) {
    // The other way to end.
  }
  std::filesystem::remove(path);
  return 0;
}
