#include "platform/Folders.h"

#include "platform/windows/WideText.h"

namespace brindlevane {

const char* const kProgramSuffix = ".exe";

namespace {

/// A folder that the environment names by its whole path, drive or server included.
std::optional<std::string> folderFromEnvironment(const wchar_t* name) {
  const std::optional<std::wstring> folder = environmentVariable(name);
  if (!folder || !(folder->substr(1, 2) == L":\\" || folder->starts_with(L"\\\\"))) {
    return std::nullopt;
  }
  return utf8Text(*folder);
}

}  // namespace

std::optional<std::string> applicationSupportFolder() {
  if (auto roaming = folderFromEnvironment(L"APPDATA")) {
    return roaming;
  }
  const auto home = folderFromEnvironment(L"USERPROFILE");
  return home ? std::optional(*home + R"(\AppData\Roaming)") : std::nullopt;
}

std::string programFolder() {
  std::wstring path(1U << 15U, L'\0');  // the longest path there is
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return utf8Text(path.substr(0, path.rfind(L'\\') + 1));
}

}  // namespace brindlevane
