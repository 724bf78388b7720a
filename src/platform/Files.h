#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace brindlevane {

/// The folder in which programs keep data for the current user: the XDG data home on Linux
/// ($XDG_DATA_HOME when set and absolute, else ~/.local/share), ~/Library/Application Support on
/// macOS; nothing when the user has no home.
///
/// @see the XDG base directory standard, version 0.8.
[[nodiscard]] std::optional<std::filesystem::path> applicationSupportFolder();

/// The bytes of a regular file, cut after `longest` of them. Nothing when there is no such file,
/// it cannot be read or is no regular file; never waits, not even on a FIFO.
[[nodiscard]] std::optional<std::string> readRegularFile(const std::filesystem::path& path,
                                                         std::size_t longest);

}  // namespace brindlevane
