#pragma once

#include "platform/Json.h"

#include <functional>
#include <string>
#include <vector>

namespace brindlevane::BrindlevaneMCP {

/// Reads an argument as the bridge is sent it, and refuses a call in which it breaks a rule with
/// MCPServerError::invalidArguments.
using Reader = std::function<Json(const Json& arguments)>;

/// One argument of a tool: how it is offered, when it is accepted, what is sent.
struct Argument {
  std::string name;
  Json schema;  ///< JSON Schema, draft 2020-12
  Reader read;
  bool isOptional = false;  ///< read only where it is present; a null is present
};

/// Makers of arguments. Each makes the schema and the reader from the same bounds. A sentence is
/// the whole refusal of a value that has the right type; an empty description is left out.

/// A whole number of 0 or more.
[[nodiscard]] Argument index(const std::string& name, const std::string& description = "");

/// A whole number from `least` to `most`.
[[nodiscard]] Argument count(const std::string& name, int least, int most,
                             const std::string& sentence, const std::string& description = "");

/// A number from `least` to `most`, sent as it was received.
[[nodiscard]] Argument number(const std::string& name, int least, int most,
                              const std::string& sentence, const std::string& description = "");

/// A number of any size, sent as it was received.
[[nodiscard]] Argument anyNumber(const std::string& name, const std::string& description);

/// A position of 0 or more under "startTime".
[[nodiscard]] Argument startTime(const std::string& description);

/// A name of 1 to 96 user-perceived characters, counted and sent without outer white space.
[[nodiscard]] Argument text(const std::string& name);

/// "tempo", sent as a floating-point number.
[[nodiscard]] Argument tempo();

/// "trackIndex", "expectedRevision", and the same where only the session gives it.
[[nodiscard]] Argument trackIndexProperty();
[[nodiscard]] Argument revisionProperty();
[[nodiscard]] Argument sessionRevisionProperty();

/// "jobId" and "sampleId": the ids of a master-listen job and of a sample that was found.
[[nodiscard]] Argument jobId();
[[nodiscard]] Argument sampleId();

/// "startTime" and "length" of a clip; both are read before either is judged.
[[nodiscard]] Argument clipStart();
[[nodiscard]] Argument clipLength();

/// "field" and "enabled" of a track's state.
[[nodiscard]] Argument stateField();
[[nodiscard]] Argument stateEnabled();

/// "notes" of a new clip, where they are present, and those that take the place of a clip's own.
[[nodiscard]] Argument newNotes();
[[nodiscard]] Argument replacingNotes();

/// "expectedRevision", and "index" and "name" where they are present, of a new track.
[[nodiscard]] std::vector<Argument> trackCreationProperties();

/// "query" and "role", where they are present: words to search for, a sample's musical role.
[[nodiscard]] Argument query();
[[nodiscard]] Argument role();

/// The argument, read only where it is present, and sent as it was received.
[[nodiscard]] Argument optional(Argument argument);

}  // namespace brindlevane::BrindlevaneMCP
