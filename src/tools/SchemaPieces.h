#pragma once

#include "platform/Json.h"

namespace brindlevane::BrindlevaneMCP {

/// The JSON Schema pieces that several tools share, each built once on first use.
/// @see JSON Schema, draft 2020-12, "Validation".

/// `properties` of a tool that takes nothing but the user's confirmation.
[[nodiscard]] const Json& confirmationProperties();
/// Schema of `expectedRevision`.
[[nodiscard]] const Json& revisionProperty();
/// Schema of `trackIndex`.
[[nodiscard]] const Json& trackIndexProperty();
/// Schema of `notes`: 1 to 512 MIDI notes.
[[nodiscard]] const Json& midiNotesProperty();
/// `properties` of the two tools that create a track.
[[nodiscard]] const Json& trackCreationProperties();

/// Schema of `confirm`.
[[nodiscard]] const Json& confirmProperty();
/// Schema of a track's or clip's name.
[[nodiscard]] const Json& nameProperty();
/// Schema of a master-listen job's id.
[[nodiscard]] const Json& jobIdProperty();
/// Schema of `expectedRevision` where only the session gives it.
[[nodiscard]] const Json& sessionRevisionProperty();

}  // namespace brindlevane::BrindlevaneMCP
