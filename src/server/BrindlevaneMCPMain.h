#pragma once

#include "bridge/BridgeAccess.h"
#include "listening/InstalledListener.h"
#include "platform/Json.h"

#include <optional>
#include <string>
#include <string_view>

/// The server's main loop: JSON-RPC 2.0 messages, one a line.
/// @see Model Context Protocol, revision 2025-06-18, "Transports", "stdio".
namespace brindlevane::BrindlevaneMCPMain {

/// Answers the lines of standard input on standard output until the input ends.
void main();  // NOLINT(bugprone-exception-escape): not the entry of the process

/// The line, with its line feed, that answers one line of input; nothing for a notification.
///
/// When memory runs out, the line is answered once more from the start, but no tool is called
/// again: the call gets an error result. When it runs out again, there is no answer. Nothing is
/// thrown.
[[nodiscard]] std::optional<std::string> answer(std::string_view line, const BridgeAccess& access,
                                                const Listener& listener = installedListener());

/// An error response.
[[nodiscard]] Json failure(const Json& id, int code, const std::string& message);

}  // namespace brindlevane::BrindlevaneMCPMain
