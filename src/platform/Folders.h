#pragma once

#include <optional>
#include <string>

namespace brindlevane {

/// How the file names of programs end: ".exe" on Windows, nothing elsewhere.
extern const char* const kProgramSuffix;

/// The folder of the running program, with a separator at its end; empty where the system does not
/// tell.
[[nodiscard]] std::string programFolder();

/// The folder in which programs keep data for the current user: the XDG data home on Linux
/// ($XDG_DATA_HOME when set and absolute, else ~/.local/share), ~/Library/Application Support on
/// macOS, %APPDATA% on Windows; nothing when the user has no home.
///
/// @see the XDG base directory standard, version 0.8.
[[nodiscard]] std::optional<std::string> applicationSupportFolder();

}  // namespace brindlevane
