#pragma once

#include "contract/AudioMeasurement.h"
#include "contract/Listening.h"

namespace brindlevane::LocalAudioAnalyzer {

/// Decodes the task's segment once, at most 90 seconds, and measures it.
///
/// @throws AudioMeasurementError  unreadableAudio: no such file, no decoder for it, or a failed
///     read; unsupportedAudio: no sample rate or no channel; insufficientSignal: fewer than 2048
///     frames, no finite sample, silence (a peak of at most 1e-6 or an RMS of at most 1e-7), or
///     more frames than are held
[[nodiscard]] AudioMeasurement measuredSegment(const ListeningTask& task);

}  // namespace brindlevane::LocalAudioAnalyzer
