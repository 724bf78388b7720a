#pragma once

#include "contract/KeyDetection.h"
#include "contract/Listening.h"

#include <cstddef>
#include <span>

namespace brindlevane::MusicalKeyAnalyzer {

/// Decodes the task's segment, at most 75 seconds, and estimates its key.
///
/// @throws AnalysisError  unreadableAudio: no such file, no decoder for it, or a failed read;
///     unsupportedAudio: no sample rate or no channel; insufficientSignal: 4096 frames or fewer,
///     fewer than three frames of the analysis that carry sound, a flat profile, or more frames
///     than are held
[[nodiscard]] KeyDetection estimatedKey(const ListeningTask& task);

/// Estimates the key of a mono segment that was decoded already, exactly as estimatedKey would if
/// it were asked for a duration of size / sampleRate seconds: at most 75 seconds count, and one
/// sample fewer where the division does not come back exactly.
///
/// @param mono        full scale = 1
/// @param sampleRate  Hz, greater than 0
/// @throws KeyAnalysisError  insufficientSignal, as with estimatedKey
[[nodiscard]] KeyDetection keyOfMix(std::span<const float> mono, double sampleRate,
                                    double transposeSemitones);

}  // namespace brindlevane::MusicalKeyAnalyzer
