#pragma once

#include "platform/Json.h"

#include <cstddef>
#include <vector>

namespace brindlevane::practice {

/// Frames per second of all the sound that the practice set makes.
inline constexpr int kSampleRate = 44100;

/// Interleaved stereo, left first, full scale = 1.
using Stereo = std::vector<float>;

/// A stretch of the Arrangement that is rendered.
struct Window {
  double tempo;        ///< beats per minute
  double startBeat;    ///< of the first frame
  std::size_t frames;  ///< length
};

/// Whether a track is among those that sound, as mutes and solos stand.
[[nodiscard]] bool isHeard(const Json& track, const Json& tracks);

/// Renders the notes of a track's clips behind its fader, looped clips repeated. An audio clip has
/// the notes of which its file was made; a MIDI track without an instrument is silent.
[[nodiscard]] Stereo renderTrack(const Json& track, const Window& window);

/// The master: the tracks that are heard, through a limiter that keeps them within full scale.
/// Sends feed no effect.
[[nodiscard]] Stereo renderMaster(const Json& tracks, const Window& window);

}  // namespace brindlevane::practice
