#pragma once

#include <stdexcept>
#include <string>

namespace brindlevane {

/// A key estimate that could not be made; what() is the French text that the user reads.
class KeyAnalysisError : public std::runtime_error {
 public:
  /// The file cannot be opened, or its segment cannot be read.
  [[nodiscard]] static KeyAnalysisError unreadableAudio();
  /// The file opens, but has no channel or no sample rate.
  [[nodiscard]] static KeyAnalysisError unsupportedAudio();
  /// Too short, too quiet, or without a tonal centre.
  [[nodiscard]] static KeyAnalysisError insufficientSignal();

 private:
  explicit KeyAnalysisError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace brindlevane
