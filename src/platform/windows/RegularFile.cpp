#include "platform/RegularFile.h"

#include "platform/windows/WideText.h"

#include <algorithm>
#include <utility>

namespace brindlevane {
namespace {

// A single call reads no more than this.
constexpr std::int64_t kMostAtOnce = std::int64_t{1} << 30U;

HANDLE systemHandle(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

std::optional<RegularFile> RegularFile::open(const std::string& path) {
  const std::optional<std::wstring> widePath = wideFilePath(path);
  // Others may go on writing, renaming and deleting it.
  const HANDLE handle = widePath
                            ? CreateFileW(widePath->c_str(), GENERIC_READ,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)
                            : INVALID_HANDLE_VALUE;
  if (handle == INVALID_HANDLE_VALUE) {
    return std::nullopt;
  }
  LARGE_INTEGER size = {};
  const bool isKnown = GetFileType(handle) == FILE_TYPE_DISK && GetFileSizeEx(handle, &size) != 0;
  RegularFile file(reinterpret_cast<std::intptr_t>(handle), size.QuadPart);
  return isKnown ? std::optional(std::move(file)) : std::nullopt;
}

RegularFile::~RegularFile() {
  if (handle_ >= 0) {
    CloseHandle(systemHandle(handle_));
  }
}

std::int64_t RegularFile::read(void* bytes, std::int64_t count, std::int64_t offset) const {
  std::int64_t done = 0;
  while (done < count && !hasFailed_) {
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(offset + done);
    place.OffsetHigh = static_cast<DWORD>((offset + done) >> 32U);
    DWORD got = 0;
    const bool isRead =
        ReadFile(systemHandle(handle_), static_cast<char*>(bytes) + done,
                 static_cast<DWORD>(std::min(count - done, kMostAtOnce)), &got, &place) != 0;
    if (got == 0 && (isRead || GetLastError() == ERROR_HANDLE_EOF)) {
      break;
    }
    hasFailed_ = !isRead;
    done += got;
  }
  return hasFailed_ ? -1 : done;
}

}  // namespace brindlevane
