#pragma once

#include "contract/KeyDetection.h"
#include "contract/Listening.h"
#include "key/KeyProfiles.h"

#include <optional>
#include <string>

namespace brindlevane::MusicalKeyAnalyzer {

/// Has the key of a segment of an audio file estimated.
///
/// @param at                  path of the file
/// @param transposeSemitones  transposition of the clip, rounded to whole semitones; a value that
///     is not finite counts as none
/// @param startSeconds        start in the file; moved into the file when outside, NaN counts as 0
/// @param duration            seconds wanted, cut to 75, which is also the length without one;
///     negative or NaN counts as 0
/// @throws KeyAnalysisError  unreadableAudio: no such file, no decoder for it, a failed read, or a
///     listener that gave no answer; unsupportedAudio: no sample rate or no channel;
///     insufficientSignal: 4096 frames or fewer, fewer than three frames of the analysis that
///     carry sound, or a flat profile
[[nodiscard]] KeyDetection analyzeAudio(const std::string& at, double transposeSemitones,
                                        double startSeconds, std::optional<double> duration,
                                        const Listener& listener);

}  // namespace brindlevane::MusicalKeyAnalyzer
