#pragma once

#include <exception>
#include <string>

namespace brindlevane {

/// A key estimate that could not be made.
class KeyAnalysisError : public std::exception {
 public:
  enum class Case { unreadableAudio, unsupportedAudio, insufficientSignal };

  /// The file cannot be opened, or its segment cannot be read.
  [[nodiscard]] static KeyAnalysisError unreadableAudio();
  /// The file opens, but has no channel or no sample rate.
  [[nodiscard]] static KeyAnalysisError unsupportedAudio();
  /// Too short, too quiet, or without a tonal centre.
  [[nodiscard]] static KeyAnalysisError insufficientSignal();

  [[nodiscard]] const char* what() const noexcept override { return errorDescription.c_str(); }

  const Case kind;
  const std::string errorDescription;  ///< the French text that the user reads

 private:
  KeyAnalysisError(Case kindOfFailure, const char* description)
      : kind(kindOfFailure), errorDescription(description) {}
};

}  // namespace brindlevane
