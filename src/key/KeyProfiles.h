#pragma once

#include "contract/KeyDetection.h"

#include <array>
#include <cstddef>
#include <span>

namespace brindlevane {

/// Strength of the twelve pitch classes, index 0 = C to 11 = B.
using Chroma = std::array<double, 12>;

}  // namespace brindlevane

/// Estimates the musical key of a clip from its audio or from a profile of its notes.
///
/// A pitch-class profile is correlated with the Krumhansl-Kessler profiles of the 24 major and
/// minor keys; the best match names the key, its lead over the second the confidence.
///
/// @see C. L. Krumhansl, "Cognitive Foundations of Musical Pitch", Oxford University Press, 1990.
namespace brindlevane::MusicalKeyAnalyzer {

/// Names the key of a pitch-class profile.
///
/// @param chroma              12 weights, index 0 = C to 11 = B
/// @param transposeSemitones  transposition, rounded to whole semitones; a value that is not finite
///     counts as none
/// @param analyzedSeconds     handed on in the result
/// @throws KeyAnalysisError  insufficientSignal: not 12 values, a sum not above 0, or a root of the
///     squared deviations from the mean not above 1e-6
[[nodiscard]] KeyDetection detect(std::span<const double> chroma, double transposeSemitones = 0,
                                  double analyzedSeconds = 0);

/// Pearson correlation of a pitch-class profile, read from `root` upwards, with a key profile.
///
/// @param root  pitch class of the tonic, 0 to 11
/// @return -1 to 1; -1 when either profile is flat
[[nodiscard]] double correlation(const Chroma& chroma, const Chroma& profile, std::size_t root);

}  // namespace brindlevane::MusicalKeyAnalyzer
