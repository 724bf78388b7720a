#pragma once

#include "practice/Page.h"

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace brindlevane::practice {

/// Prints a page for each audio file, as the server hears it. What cannot be heard is told on
/// `faults`, in plain English before the server's own words.
///
/// @return how many could not be heard
[[nodiscard]] std::size_t printFiles(const std::filesystem::path& server,
                                     const std::vector<std::string>& files, Page& page,
                                     std::ostream& faults);

}  // namespace brindlevane::practice
