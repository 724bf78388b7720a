#pragma once

#include "key/ChromaCollector.h"
#include "key/KeyDetection.h"

#include <optional>
#include <span>
#include <string>

/// Estimates the musical key of a clip from its audio or from a profile of its notes.
///
/// A pitch-class profile is correlated with the Krumhansl-Kessler profiles of the 24 major and
/// minor keys; the best match names the key, its lead over the second the confidence.
///
/// @see C. L. Krumhansl, "Cognitive Foundations of Musical Pitch", Oxford University Press, 1990.
namespace brindlevane::MusicalKeyAnalyzer {

/// Longest stretch of audio behind an estimate, in seconds.
inline constexpr double kLongestSeconds = 75;

/// Estimates the key of a segment of an audio file.
///
/// @param at                  path of the file
/// @param transposeSemitones  transposition of the clip, rounded to whole semitones; a value that
///     is not finite counts as none
/// @param startSeconds        start in the file; moved into the file when outside, NaN counts as 0
/// @param duration            seconds wanted, cut to 75, which is also the length without one;
///     negative or NaN counts as 0
/// @throws KeyAnalysisError  unreadableAudio: no such file, no decoder for it, or a failed read;
///     unsupportedAudio: no sample rate or no channel; insufficientSignal: 4096 frames or fewer,
///     fewer than three frames of the analysis that carry sound, or a flat profile
[[nodiscard]] KeyDetection analyzeAudio(const std::string& at, double transposeSemitones,
                                        double startSeconds, std::optional<double> duration);

/// The samples of a mono segment that analyzeAudio would look at if asked for a duration of
/// count / sampleRate seconds: at most 75 seconds, and one fewer where the division does not come
/// back exactly.
[[nodiscard]] std::size_t analyzedCount(std::size_t count, double sampleRate);

/// Estimates the key of a mono signal that was decoded elsewhere, exactly as analyzeAudio does.
///
/// @param collector   has been told of the signal, and of no more than `count` + 1 of its samples
/// @param count       samples to look at
/// @param sampleRate  Hz, greater than 0
/// @throws KeyAnalysisError  insufficientSignal, as with analyzeAudio
[[nodiscard]] KeyDetection estimate(ChromaCollector& collector, std::size_t count,
                                    double sampleRate, double transposeSemitones);

/// Names the key of a pitch-class profile.
///
/// @param chroma              12 weights, index 0 = C to 11 = B
/// @param transposeSemitones  as with analyzeAudio
/// @param analyzedSeconds     handed on in the result
/// @throws KeyAnalysisError  insufficientSignal: not 12 values, a sum not above 0, or a root of the
///     squared deviations from the mean not above 1e-6
[[nodiscard]] KeyDetection detect(std::span<const double> chroma, double transposeSemitones = 0,
                                  double analyzedSeconds = 0);

/// Folds a mono signal into a pitch-class profile; see ChromaCollector.
///
/// @param samples     full scale = 1
/// @param sampleRate  Hz, greater than 0
/// @throws KeyAnalysisError  insufficientSignal: too short or too quiet
[[nodiscard]] Chroma audioChroma(std::span<const float> samples, double sampleRate);

/// Pearson correlation of a pitch-class profile, read from `root` upwards, with a key profile.
///
/// @param root  pitch class of the tonic, 0 to 11
/// @return -1 to 1; -1 when either profile is flat
[[nodiscard]] double correlation(const Chroma& chroma, const Chroma& profile, std::size_t root);

}  // namespace brindlevane::MusicalKeyAnalyzer
