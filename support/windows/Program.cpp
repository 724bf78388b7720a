#include "support/Program.h"

#include "platform/windows/WideText.h"

#include <fcntl.h>
#include <io.h>
#include <tlhelp32.h>
#include <windows.h>

#include <algorithm>
#include <string_view>
#include <system_error>

namespace brindlevane {
namespace {

// What TerminateProcess gives as the status.
constexpr UINT kEnded = 15;
constexpr UINT kKilled = 9;

struct Pipe {
  /// @param isRead  whether the other program reads from it
  explicit Pipe(bool isRead) {
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    if (CreatePipe(&reading, &writing, nullptr, 0) == 0) {
      throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "pipe");
    }
    theirs = isRead ? reading : writing;
    SetHandleInformation(theirs, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    ours = _open_osfhandle(reinterpret_cast<std::intptr_t>(isRead ? writing : reading), _O_BINARY);
  }

  HANDLE theirs;
  int ours;
};

/// The variables of a process: each with a NUL behind it, and another at the end.
std::wstring environmentWith(const std::vector<std::string>& variables) {
  std::wstring all;
  std::vector<std::wstring> names;
  for (const std::string& variable : variables) {
    const std::wstring text = wideText(variable).value();
    all += text + L'\0';
    names.push_back(text.substr(0, text.find(L'=') + 1));
  }
  wchar_t* const own = GetEnvironmentStringsW();
  for (std::wstring_view text = own; !text.empty(); text = text.data() + text.size() + 1) {
    if (std::ranges::none_of(names, [text](auto& name) { return text.starts_with(name); })) {
      all.append(text).push_back(L'\0');
    }
  }
  FreeEnvironmentStringsW(own);
  return all + L'\0';
}

}  // namespace

Program startProgram(std::vector<std::string> command, std::vector<std::string> environment,
                     bool /*blocks*/) {
  std::wstring variables = environmentWith(environment);
  const Pipe in(true);
  const Pipe out(false);
  const Pipe error(false);
  std::wstring line;
  for (const std::string& word : command) {
    line += L'"' + wideText(word).value() + L"\" ";
  }
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in.theirs;
  startup.hStdOutput = out.theirs;
  startup.hStdError = error.theirs;
  PROCESS_INFORMATION process = {};
  const bool isStarted =
      CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_UNICODE_ENVIRONMENT,
                     variables.data(), nullptr, &startup, &process) != 0;
  const auto fault = static_cast<int>(GetLastError());
  for (const HANDLE theirs : {in.theirs, out.theirs, error.theirs}) {
    CloseHandle(theirs);
  }
  if (!isStarted) {
    for (const int ours : {in.ours, out.ours, error.ours}) {
      _close(ours);
    }
    throw std::system_error(fault, std::system_category(), "Cannot start " + command.front());
  }
  CloseHandle(process.hThread);
  return {reinterpret_cast<std::intptr_t>(process.hProcess), in.ours, out.ours, error.ours};
}

bool waitForOutput(int descriptor, int milliseconds) {
  constexpr int kPause = 1;
  const auto pipe = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
  for (int waited = 0; waited < milliseconds; waited += kPause) {
    DWORD available = 0;
    if (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) == 0 || available > 0) {
      return true;
    }
    Sleep(kPause);
  }
  return false;
}

void endProgram(std::intptr_t process, bool isKilled) {
  TerminateProcess(reinterpret_cast<HANDLE>(process), isKilled ? kKilled : kEnded);
}

int statusOf(std::intptr_t process) {
  const auto handle = reinterpret_cast<HANDLE>(process);
  DWORD status = 0;
  WaitForSingleObject(handle, INFINITE);
  GetExitCodeProcess(handle, &status);
  CloseHandle(handle);
  return status == kKilled || status == kEnded ? -static_cast<int>(status)
                                               : static_cast<int>(status);
}

int numberOf(std::intptr_t process) {
  return static_cast<int>(GetProcessId(reinterpret_cast<HANDLE>(process)));
}

int childOf(int process) {
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  int child = 0;
  for (BOOL is = Process32First(all, &entry); is != 0; is = Process32Next(all, &entry)) {
    // Wine lets a program for windows start a desktop as well.
    if (entry.th32ParentProcessID == static_cast<DWORD>(process) &&
        std::wstring_view(entry.szExeFile) != L"explorer.exe") {
      child = static_cast<int>(entry.th32ProcessID);
    }
  }
  CloseHandle(all);
  return child;
}

bool runs(int process) {
  const HANDLE handle = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(process));
  const bool hasEnded = handle == nullptr || WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
  CloseHandle(handle);
  return !hasEnded;
}

}  // namespace brindlevane
