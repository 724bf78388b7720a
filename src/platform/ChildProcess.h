#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace brindlevane {

/// Runs a program to its end and gives what it prints.
///
/// The program gets no argument, no environment but what the system's own libraries need, and no
/// descriptor but its streams. It ends with this process, at the latest. SIGPIPE must be ignored.
///
/// @param program    its whole path
/// @param input      what the program gets to read
/// @param longest    most bytes that it may print
/// @param timeLimit  how long it may take
/// @return nothing when the program cannot be started, prints more, takes longer, or ends in any
///     other way than with status 0
[[nodiscard]] std::optional<std::string> outputOf(const std::string& program,
                                                  std::string_view input, std::size_t longest,
                                                  std::chrono::milliseconds timeLimit);

}  // namespace brindlevane
