#pragma once

#include "practice/McpClient.h"
#include "practice/Page.h"

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace brindlevane::practice {

/// The absolute paths of files in bytes that JSON can carry: a link in `folder` stands for a path
/// that is no text.
[[nodiscard]] std::vector<std::string> pathsOfText(const std::vector<std::string>& files,
                                                   const std::filesystem::path& folder);

/// Prints a page for each audio file, as the server hears it. What cannot be heard is told on
/// `faults`, in plain English before the server's own words.
///
/// @param client  of a server that is linked to a set of these files
/// @return how many could not be heard
[[nodiscard]] std::size_t printFiles(McpClient& client, const std::vector<std::string>& files,
                                     Page& page, std::ostream& faults);

}  // namespace brindlevane::practice
