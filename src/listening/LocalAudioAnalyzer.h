#pragma once

#include "contract/AudioMeasurement.h"
#include "contract/Listening.h"

#include <optional>
#include <string>

/// Measures audio files on the local disk.
namespace brindlevane::LocalAudioAnalyzer {

/// Has a segment of an audio file measured: levels, dynamics, clipping, spectrum, stereo image,
/// waveform and key. A request that comes again while the file has not changed is answered from
/// memory.
///
/// Sizes that are not finite or beyond all measure are bounded: a NaN counts as 0.
///
/// @param at                  path of the file
/// @param transposeSemitones  transposition of the clip; shifts the key alone
/// @param startSeconds        start in the file, moved into the file when outside
/// @param duration            seconds wanted, cut to 90, which is also the length without one
/// @throws AudioMeasurementError  unreadableAudio: no such file, no decoder for it, a failed read,
///     or a listener that gave no answer; unsupportedAudio: no sample rate or no channel;
///     insufficientSignal: fewer than 2048 frames, no finite sample, silence (a peak of at most
///     1e-6 or an RMS of at most 1e-7), or more than fits in memory
[[nodiscard]] AudioMeasurement analyze(const std::string& at, double transposeSemitones,
                                       double startSeconds, std::optional<double> duration,
                                       const Listener& listener);

}  // namespace brindlevane::LocalAudioAnalyzer
