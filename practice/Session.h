#pragma once

#include "practice/McpClient.h"
#include "practice/Page.h"

namespace brindlevane::practice {

/// Plays the whole session, printing for each step what was asked and what the assistant sees.
/// @param client  of a server that is linked to the practice set
/// @throws std::runtime_error  a step went wrong: what() says what was expected
void playSession(McpClient& client, Page& page);

}  // namespace brindlevane::practice
