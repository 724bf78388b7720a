#include "platform/FileAttributes.h"

#include "platform/windows/WideText.h"

namespace brindlevane {
namespace {

std::uint64_t joined(DWORD high, DWORD low) {
  return std::uint64_t{high} << 32U | low;
}

}  // namespace

std::optional<FileAttributes> fileAttributes(const std::string& path) {
  const std::optional<std::wstring> widePath = wideFilePath(path);
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!widePath || GetFileAttributesExW(widePath->c_str(), GetFileExInfoStandard, &data) == 0) {
    return std::nullopt;
  }
  // Hundreds of nanoseconds since 1601.
  constexpr double kTick = 1e-7;
  constexpr double kSecondsTo1970 = 11644473600;
  const std::uint64_t modified =
      joined(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime);
  return FileAttributes{joined(data.nFileSizeHigh, data.nFileSizeLow),
                        static_cast<double>(modified) * kTick - kSecondsTo1970};
}

std::string standardizedPath(const std::string& path) {
  std::optional<std::wstring> absolute = absolutePath(path);
  if (!absolute) {
    return path;
  }
  constexpr std::size_t kRootLength = 3;
  if (absolute->size() > kRootLength && absolute->back() == L'\\') {
    absolute->pop_back();
  }
  return utf8Text(*absolute);
}

}  // namespace brindlevane
