#pragma once

#include "key/KeyProfiles.h"

#include <span>

namespace brindlevane::MusicalKeyAnalyzer {

/// Folds the spectrum of a mono signal into a pitch-class profile.
///
/// Half-overlapping Hann frames of 8192 samples are transformed; each bin from 45 Hz to 5 kHz adds
/// log(1 + magnitude) / sqrt(frequency) to its nearest equal-tempered pitch class (A4 = 440 Hz).
/// Frames with a mean square below 5e-7 are left out. The two halves of the signal are folded at
/// the same time.
///
/// @param samples     full scale = 1
/// @param sampleRate  Hz, greater than 0
/// @return 12 sums >= 0, not normalised
/// @throws KeyAnalysisError  insufficientSignal: fewer than 8192 samples, fewer than three frames
///     that carry sound, or no sound in the frequency range
/// @see T. Fujishima, "Realtime Chord Recognition of Musical Sound", ICMC 1999.
[[nodiscard]] Chroma audioChroma(std::span<const float> samples, double sampleRate);

}  // namespace brindlevane::MusicalKeyAnalyzer
