// Any bytes as an audio file: decoding and measuring end in a measurement or one of the errors.

#include "audio/AudioMeasurementError.h"
#include "audio/LocalAudioAnalyzer.h"

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
  // A start that tells one input from the next, lest the cache answer for a file of the same size;
  // the odd ones lie inside the file.
  static double run = 0;
  run += 1;
  const double start = std::fmod(run, 2) == 0 ? -run : std::fmod(run, 997) * 0.001;
  try {
    if (!isPlausible(brindlevane::LocalAudioAnalyzer::analyze(path, run, start, std::nullopt))) {
      std::abort();
    }
  } catch (const brindlevane::AudioMeasurementError&) {
    // The other way to end.
  }
  std::filesystem::remove(path);
  return 0;
}
