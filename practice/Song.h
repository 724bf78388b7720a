#pragma once

#include "platform/Json.h"
#include "practice/Renderer.h"

#include <string_view>

namespace brindlevane::practice {

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
[[nodiscard]] Json emptyTrack(const std::string& name, const std::string& kind,
                              const std::string& voice);

/// A clip in the Arrangement without its content, its loop as long as itself.
[[nodiscard]] Json emptyClip(const std::string& name, double startTime, double length);

/// A clip in the Arrangement that plays a new file with this sound from beginning to end.
[[nodiscard]] Json audioClip(const std::string& name, double startTime, const Stereo& sound,
                             double tempo, AudioPool& pool);

/// Renders the phrase that a voice plays in this song.
/// @param transpose  semitones
/// @return as long as the phrase; empty for a voice that has none
[[nodiscard]] Stereo renderPhrase(const std::string& voice, double tempo, int transpose);

}  // namespace brindlevane::practice
