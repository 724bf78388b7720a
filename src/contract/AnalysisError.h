#pragma once

#include <exception>
#include <string>

namespace brindlevane {

/// An analysis of audio that could not be made.
class AnalysisError : public std::exception {
 public:
  enum class Case {
    unreadableAudio,    ///< the file cannot be opened, or its segment cannot be read
    unsupportedAudio,   ///< the file opens, but has no channel or no sample rate
    insufficientSignal  ///< too short, too quiet, too large to hold, or without a tonal centre
  };

  [[nodiscard]] const char* what() const noexcept override { return errorDescription.c_str(); }

  const Case kind;
  const std::string errorDescription;  ///< the French text that the user reads

 protected:
  AnalysisError(Case kindOfFailure, const char* insufficientSignalText);
};

/// A measurement that could not be made.
class AudioMeasurementError : public AnalysisError {
 public:
  explicit AudioMeasurementError(Case kindOfFailure);
};

/// A key estimate that could not be made.
class KeyAnalysisError : public AnalysisError {
 public:
  explicit KeyAnalysisError(Case kindOfFailure);
};

}  // namespace brindlevane
