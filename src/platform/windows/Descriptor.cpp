#include "platform/Descriptor.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
#include <winternl.h>

#include <algorithm>

namespace brindlevane {
namespace {

// A single call moves no more than this.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 20U;

constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

/// What the system tells about one end of a pipe: FILE_PIPE_LOCAL_INFORMATION of the driver kit.
struct PipeInformation {
  ULONG type;
  ULONG configuration;
  ULONG maximumInstances;
  ULONG currentInstances;
  ULONG inboundQuota;
  ULONG readDataAvailable;
  ULONG outboundQuota;
  ULONG writeQuotaAvailable;
  ULONG state;
  ULONG end;
};
constexpr auto kPipeInformation = static_cast<FILE_INFORMATION_CLASS>(24);
constexpr ULONG kPipeIsConnected = 3;

}  // namespace

std::size_t readSome(int descriptor, std::span<char> room) {
  const int count =
      _read(descriptor, room.data(), static_cast<unsigned>(std::min(room.size(), kMostAtOnce)));
  return static_cast<std::size_t>(std::max(count, 0));
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const int count = _write(descriptor, bytes.data(),
                             static_cast<unsigned>(std::min(bytes.size(), kMostAtOnce)));
    if (count <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

int takeOverOutput() {
  const int output = _dup(kStandardOutput);
  const int nowhere = _open("NUL", _O_RDWR | _O_BINARY | _O_NOINHERIT);
  if (output < 0 || nowhere < 0) {
    return -1;
  }
  SetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(output)), HANDLE_FLAG_INHERIT, 0);
  _dup2(nowhere, kStandardOutput);
  _dup2(nowhere, kStandardError);
  _close(nowhere);
  // No line feed gains a carriage return, and no Ctrl+Z ends the input.
  _setmode(kStandardInput, _O_BINARY);
  _setmode(output, _O_BINARY);
  return output;
}

bool waitUntilUnread(int descriptor) {
  constexpr DWORD kPauseMilliseconds = 200;
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
  for (;;) {
    PipeInformation pipe = {};
    IO_STATUS_BLOCK status = {};
    if (NtQueryInformationFile(handle, &status, &pipe, sizeof pipe, kPipeInformation) != 0) {
      return false;
    }
    if (pipe.state != kPipeIsConnected) {
      return true;
    }
    Sleep(kPauseMilliseconds);
  }
}

}  // namespace brindlevane
