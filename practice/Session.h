#pragma once

#include "practice/McpClient.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace brindlevane::practice {

/// Plays the whole session, printing for each step what was asked and what the assistant sees.
/// @param client  of a server that is linked to the practice set
/// @throws std::runtime_error  a step went wrong: what() says what was expected
void playSession(McpClient& client, std::ostream& out);

/// Prints a page for each file, one a track of the set that the server is linked to.
/// @return how many could not be listened to; each has its reason on its page
[[nodiscard]] std::size_t listenToFiles(McpClient& client, const std::vector<std::string>& files,
                                        std::ostream& out);

}  // namespace brindlevane::practice
