#pragma once

#include <stdexcept>
#include <string>

namespace brindlevane {

/// A measurement that could not be made; what() is the French text that the user reads.
class AudioMeasurementError : public std::runtime_error {
 public:
  /// The file cannot be opened, or its segment cannot be read.
  [[nodiscard]] static AudioMeasurementError unreadableAudio();
  /// The file opens, but has no channel or no sample rate.
  [[nodiscard]] static AudioMeasurementError unsupportedAudio();
  /// Too short, silent, or too large to hold.
  [[nodiscard]] static AudioMeasurementError insufficientSignal();

 private:
  explicit AudioMeasurementError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace brindlevane
