#include "listening/LocalAudioAnalyzer.h"

#include "listening/MeasurementCache.h"
#include "platform/FileAttributes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

MeasurementCache& measurementCache() {
  static MeasurementCache cache;
  return cache;
}

// The nearest whole number of units, halves away from zero, within a signed 64-bit number; 0 for
// a NaN.
std::int64_t scaled(double value, double unitsPerOne) {
  constexpr double kLargest = 9.0e18;
  const double units = std::round(value * unitsPerOne);
  return std::isnan(units) ? 0 : static_cast<std::int64_t>(std::clamp(units, -kLargest, kLargest));
}

AudioCacheKey cacheKey(const std::string& at, double transposeSemitones, double startSeconds,
                       std::optional<double> duration) {
  const FileAttributes attributes = fileAttributes(at).value_or(FileAttributes{});
  return {standardizedPath(at),
          attributes.size,
          attributes.modifiedSince1970,
          scaled(transposeSemitones, 100),
          std::max<std::int64_t>(scaled(startSeconds, 1000), 0),
          std::max<std::int64_t>(scaled(duration.value_or(0), 1000), 0)};
}

}  // namespace

AudioMeasurement analyze(const std::string& at, double transposeSemitones, double startSeconds,
                         std::optional<double> duration, const Listener& listener) {
  const AudioCacheKey key = cacheKey(at, transposeSemitones, startSeconds, duration);
  if (std::optional<AudioMeasurement> known = measurementCache().find(key)) {
    return *std::move(known);
  }
  AudioMeasurement measurement = measurementOf(listener(taskLine(
      {ListeningTask::Kind::measurement, at, transposeSemitones, startSeconds, duration})));
  measurementCache().store(key, measurement);
  return measurement;
}

}  // namespace brindlevane::LocalAudioAnalyzer
