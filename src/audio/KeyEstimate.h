#pragma once

#include "contract/KeyDetection.h"
#include "contract/Listening.h"

#include <cstddef>

namespace brindlevane::MusicalKeyAnalyzer {

/// Decodes the task's segment, at most 75 seconds, and estimates its key.
///
/// @throws AnalysisError  unreadableAudio: no such file, no decoder for it, or a failed read;
///     unsupportedAudio: no sample rate or no channel; insufficientSignal: 4096 frames or fewer,
///     fewer than three frames of the analysis that carry sound, a flat profile, or more frames
///     than are held
[[nodiscard]] KeyDetection estimatedKey(const ListeningTask& task);

/// How many frames of a segment count for the key that is estimated beside a measurement: as many
/// as estimatedKey would decode if it were asked for a duration of frames / sampleRate seconds. At
/// most 75 seconds count, and one frame fewer where the division does not come back exactly.
///
/// @param sampleRate  Hz, greater than 0
[[nodiscard]] std::size_t framesForKey(std::size_t frames, double sampleRate);

}  // namespace brindlevane::MusicalKeyAnalyzer
