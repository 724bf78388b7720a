#include "platform/windows/WideText.h"

namespace brindlevane {
namespace {

/// What a call gives that tells the length it needs, its NUL included, while it has too little
/// room.
template <typename Call>
std::optional<std::wstring> grown(Call call) {
  std::wstring text(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = call(text.data(), static_cast<DWORD>(text.size()));
    if (length == 0) {
      return std::nullopt;
    }
    const bool fits = length < text.size();
    text.resize(length);
    if (fits) {
      return text;
    }
  }
}

}  // namespace

std::optional<std::wstring> wideText(std::string_view utf8) {
  if (utf8.empty()) {
    return std::wstring();
  }
  const int bytes = static_cast<int>(utf8.size());
  const int length =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), bytes, nullptr, 0);
  if (length == 0) {
    return std::nullopt;
  }
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), length);
  return wide;
}

std::string utf8Text(std::wstring_view wide) {
  const int units = static_cast<int>(wide.size());
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(), length, nullptr, nullptr);
  return utf8;
}

std::optional<std::wstring> absolutePath(const std::string& path) {
  const std::optional<std::wstring> wide =
      path.find('\0') == std::string::npos ? wideText(path) : std::nullopt;
  return wide ? grown([&](wchar_t* room, DWORD length) {
    return GetFullPathNameW(wide->c_str(), length, room, nullptr);
  })
              : std::nullopt;
}

std::optional<std::wstring> wideFilePath(const std::string& path) {
  const std::optional<std::wstring> full = absolutePath(path);
  if (!full || full->starts_with(L"\\\\.\\")) {
    return std::nullopt;
  }
  // Behind this prefix a path is taken as it is, at any length.
  constexpr std::wstring_view kVerbatim = LR"(\\?\)";
  if (full->starts_with(kVerbatim)) {
    return full;
  }
  return full->starts_with(LR"(\\)") ? LR"(\\?\UNC)" + full->substr(1)
                                     : std::wstring(kVerbatim) + *full;
}

std::optional<std::wstring> environmentVariable(const wchar_t* name) {
  return grown(
      [&](wchar_t* room, DWORD length) { return GetEnvironmentVariableW(name, room, length); });
}

}  // namespace brindlevane
