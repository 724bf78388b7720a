#pragma once

#include <exception>
#include <string>

namespace brindlevane {

/// A measurement that could not be made.
class AudioMeasurementError : public std::exception {
 public:
  enum class Case { unreadableAudio, unsupportedAudio, insufficientSignal };

  /// The file cannot be opened, or its segment cannot be read.
  [[nodiscard]] static AudioMeasurementError unreadableAudio();
  /// The file opens, but has no channel or no sample rate.
  [[nodiscard]] static AudioMeasurementError unsupportedAudio();
  /// Too short, silent, or too large to hold.
  [[nodiscard]] static AudioMeasurementError insufficientSignal();

  [[nodiscard]] const char* what() const noexcept override { return errorDescription.c_str(); }

  const Case kind;
  const std::string errorDescription;  ///< the French text that the user reads

 private:
  AudioMeasurementError(Case kindOfFailure, const char* description)
      : kind(kindOfFailure), errorDescription(description) {}
};

}  // namespace brindlevane
