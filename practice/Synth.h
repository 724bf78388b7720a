#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace brindlevane::practice {

/// Frames per second of all the sound that the practice set makes.
inline constexpr int kSampleRate = 44100;

/// Interleaved stereo, left first, full scale = 1.
using Stereo = std::vector<float>;

/// One note on its way to a window of sound.
struct Tone {
  double pitch;             ///< MIDI note number, 69 = 440 Hz
  double velocity;          ///< 0 to 1
  std::int64_t startFrame;  ///< within the window; may lie before it or behind it
  double seconds;           ///< time until the key is let go
};

/// Adds a note to a window of sound.
///
/// A note is a closed formula of the time since its start, without a filter that remembers, so a
/// piece of music rendered in several windows is the same as when rendered in one.
///
/// @param voiceName  "kick", "clap", "hat", "percussion", "bass", "sub", "chords", "pad", "lead",
///                   "vocal" or "fx"; any other name sounds like "chords"
/// @param gain       linear
void addNote(Stereo& window, std::string_view voiceName, const Tone& tone, double gain);

}  // namespace brindlevane::practice
