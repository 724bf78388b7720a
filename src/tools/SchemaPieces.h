#pragma once

#include "platform/Json.h"

#include <cstddef>

namespace brindlevane::BrindlevaneMCP {

/// Longest track or clip name, in user-perceived characters.
inline constexpr std::size_t kLongestName = 96;

/// Most MIDI notes in one call.
inline constexpr std::size_t kMostNotes = 512;

/// The JSON Schema pieces that several tools share, each built once on first use.
/// @see JSON Schema, draft 2020-12, "Validation".

/// `properties` of a tool that takes nothing but the user's confirmation.
[[nodiscard]] const Json& confirmationProperties();
/// Schema of `expectedRevision`.
[[nodiscard]] const Json& revisionProperty();
/// Schema of `expectedRevision` where only the session gives it.
[[nodiscard]] const Json& sessionRevisionProperty();
/// Schema of `trackIndex`.
[[nodiscard]] const Json& trackIndexProperty();
/// Schema of `notes`: 1 to kMostNotes MIDI notes.
[[nodiscard]] const Json& midiNotesProperty();
/// `properties` of the two tools that create a track.
[[nodiscard]] const Json& trackCreationProperties();

}  // namespace brindlevane::BrindlevaneMCP
