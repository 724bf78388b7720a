#pragma once

#include "audio/ChromaCollector.h"
#include "contract/KeyDetection.h"
#include "contract/Listening.h"

#include <cstddef>
#include <span>

namespace brindlevane::MusicalKeyAnalyzer {

/// Longest stretch of audio behind an estimate, in seconds.
inline constexpr double kLongestSeconds = 75;

/// Decodes the task's segment, at most 75 seconds, and estimates its key.
///
/// @throws KeyAnalysisError  unreadableAudio: no such file, no decoder for it, or a failed read;
///     unsupportedAudio: no sample rate or no channel; insufficientSignal: 4096 frames or fewer,
///     fewer than three frames of the analysis that carry sound, or a flat profile
[[nodiscard]] KeyDetection estimatedKey(const ListeningTask& task);

/// The samples of a mono segment that estimatedKey would look at if asked for a duration of
/// count / sampleRate seconds: at most 75 seconds, and one fewer where the division does not come
/// back exactly.
[[nodiscard]] std::size_t analyzedCount(std::size_t count, double sampleRate);

/// Estimates the key of a mono signal that was decoded elsewhere, exactly as estimatedKey does.
///
/// @param collector   has been told of the signal, and of no more than `count` + 1 of its samples
/// @param count       samples to look at
/// @param sampleRate  Hz, greater than 0
/// @throws KeyAnalysisError  insufficientSignal, as with estimatedKey
[[nodiscard]] KeyDetection estimate(ChromaCollector& collector, std::size_t count,
                                    double sampleRate, double transposeSemitones);

/// Folds a mono signal into a pitch-class profile; see ChromaCollector.
///
/// @param samples     full scale = 1
/// @param sampleRate  Hz, greater than 0
/// @throws KeyAnalysisError  insufficientSignal: too short or too quiet
[[nodiscard]] Chroma audioChroma(std::span<const float> samples, double sampleRate);

}  // namespace brindlevane::MusicalKeyAnalyzer
