#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

namespace brindlevane {

/// UTF-16 for UTF-8; nothing when it is none.
[[nodiscard]] std::optional<std::wstring> wideText(std::string_view utf8);

/// UTF-8 for UTF-16; a lone surrogate becomes U+FFFD.
[[nodiscard]] std::string utf8Text(std::wstring_view wide);

/// A path made absolute, with backslashes and without empty, "." and ".." components; nothing when
/// it is not UTF-8 or holds a NUL.
[[nodiscard]] std::optional<std::wstring> absolutePath(const std::string& path);

/// A path as the system takes it, absolute and longer than 260 characters if need be.
///
/// @return nothing when it is not UTF-8, holds a NUL or names a device, such as "CON" or "\\.\X"
[[nodiscard]] std::optional<std::wstring> wideFilePath(const std::string& path);

/// The value of an environment variable; nothing when it is not set.
[[nodiscard]] std::optional<std::wstring> environmentVariable(const wchar_t* name);

}  // namespace brindlevane
