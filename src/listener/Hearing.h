#pragma once

#include <optional>
#include <string>

namespace brindlevane {

/// Carries out a task: decodes the file and measures it, or estimates its key.
///
/// @param line  a task's line
/// @return the answer's line; nothing when the line is no task
/// @throws std::bad_alloc  no memory, be it for the answer alone
[[nodiscard]] std::optional<std::string> heard(const std::string& line);

}  // namespace brindlevane
