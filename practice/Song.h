#pragma once

#include "platform/Json.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace brindlevane::practice {

/// The practice set "Night Ferry": twelve tracks in F sharp minor at 124 BPM, named as carelessly
/// as tracks are at three in the morning. The files of its audio clips are written to a folder.
///
/// Members: "project", "tempo", "timeSignature", "projectScale", "tracks", "returns", "master",
/// "locators", "selectedTrack" and "selectedClip" (null without one). Positions and lengths are
/// in beats; a clip repeats its first "loopLength" beats. A track knows its "role".
[[nodiscard]] Json nightFerry(const std::filesystem::path& audioFolder);

/// A set whose audio tracks hold the user's own files, one a track.
[[nodiscard]] Json setOfFiles(const std::vector<std::string>& files);

/// What organising and arrangements call a track of this role; empty for a role that is unknown.
[[nodiscard]] std::string labelOf(const Json& track);

/// The colour, #rrggbb, of tracks with the label of this one.
[[nodiscard]] std::string colorOf(const Json& track);

/// A new track without an instrument.
/// @param kind  "midi" or "audio"
/// @param role  empty where none is known
[[nodiscard]] Json emptyTrack(const std::string& name, const std::string& kind,
                              std::string_view role);

/// A clip in the Arrangement without notes, its loop as long as itself.
[[nodiscard]] Json emptyClip(const std::string& name, double startTime, double length);

/// A clip in the Arrangement with a new file of the phrase that a role plays in this song.
/// @param transpose  semitones by which the clip makes up for a file that is slower and lower
[[nodiscard]] Json audioClip(const std::string& name, double startTime, std::string_view role,
                             int transpose, const std::filesystem::path& audioFolder);

}  // namespace brindlevane::practice
