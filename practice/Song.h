#pragma once

#include "Renderer.h"
#include "platform/Json.h"

#include <string_view>

namespace brindlevane {

/// The practice set "Night Ferry": twelve tracks in F sharp minor at 124 BPM, named as carelessly
/// as tracks are at three in the morning. Its audio clips are rendered into the pool.
///
/// Members: "project", "tempo", "timeSignature", "projectScale", "tracks", "returns", "master",
/// "locators", "selectedTrack" and "selectedClip" (null without one). Positions and lengths are
/// in beats; a clip repeats its first "loopLength" beats.
[[nodiscard]] Json nightFerry(AudioPool& pool);

/// A set whose audio tracks hold the user's own files, one a track.
[[nodiscard]] Json setOfFiles(const std::vector<std::string>& files);

/// An empty track.
/// @param kind   "midi" or "audio"
/// @param voice  what its MIDI notes sound like, see addNote
[[nodiscard]] Json emptyTrack(std::string_view name, std::string_view kind, std::string_view voice);

/// A clip in the Arrangement without its content, its loop as long as itself.
[[nodiscard]] Json emptyClip(std::string_view name, double startTime, double length);

/// Renders the phrase that a voice plays in this song.
/// @param transpose  semitones
/// @return as long as the phrase; empty for a voice that has none
[[nodiscard]] Stereo renderPhrase(std::string_view voice, double tempo, double transpose);

}  // namespace brindlevane
