#pragma once

#include "platform/Json.h"
#include "practice/Renderer.h"

#include <string>
#include <string_view>
#include <vector>

namespace brindlevane::practice {

/// The practice set "Night Ferry": twelve tracks in F sharp minor at 124 BPM, named as carelessly
/// as tracks are at three in the morning. Its audio clips are rendered into the pool.
///
/// Members: "project", "tempo", "timeSignature", "projectScale", "tracks", "returns", "master",
/// "locators", "selectedTrack" and "selectedClip" (null without one). Positions and lengths are
/// in beats; a clip repeats its first "loopLength" beats. A track knows its "role".
[[nodiscard]] Json nightFerry(AudioPool& pool);

/// A set whose audio tracks hold the user's own files, one a track.
[[nodiscard]] Json setOfFiles(const std::vector<std::string>& files);

/// What a track plays, as samples and workflows know it.
struct Role {
  std::string_view name;   ///< also the voice of its notes, see addNote
  std::string_view label;  ///< what organising and arrangements call such tracks
  std::string_view color;  ///< of all with this label, #rrggbb
};

/// The role of a track, or nullptr.
[[nodiscard]] const Role* roleOf(const Json& track);

/// A new track without an instrument.
/// @param kind  "midi" or "audio"
/// @param role  empty where none is known
[[nodiscard]] Json emptyTrack(const std::string& name, const std::string& kind,
                              std::string_view role);

/// A clip in the Arrangement without its content, its loop as long as itself.
[[nodiscard]] Json emptyClip(const std::string& name, double startTime, double length);

/// A clip in the Arrangement that plays a new file with this sound from beginning to end.
[[nodiscard]] Json audioClip(const std::string& name, double startTime, const Stereo& sound,
                             double tempo, AudioPool& pool);

/// Renders the phrase that a role plays in this song.
/// @param transpose  semitones
/// @return as long as the phrase
[[nodiscard]] Stereo renderPhrase(std::string_view role, double tempo, int transpose);

}  // namespace brindlevane::practice
