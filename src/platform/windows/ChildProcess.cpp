#include "platform/ChildProcess.h"

#include "platform/windows/WideText.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <future>
#include <memory>
#include <utility>

namespace brindlevane {
namespace {

using Clock = std::chrono::steady_clock;

struct CloseHandleOf {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<HANDLE, CloseHandleOf>;

struct Pipe {
  Handle reading;
  Handle writing;
};

/// @param room  bytes that can be written before anybody reads
/// @return without ends when there is none to be had
Pipe openPipe(std::size_t room) {
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  if (CreatePipe(&reading, &writing, nullptr, static_cast<DWORD>(room)) == 0) {
    return {};
  }
  return {Handle(reading), Handle(writing)};
}

/// A job whose processes end with its handle, however this process ends.
Handle openJob() {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  const bool isLimited =
      job && SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                     sizeof limits) != 0;
  return isLimited ? std::move(job) : Handle();
}

/// Starts a program that belongs to a job from its first moment on: this process may end at any.
/// @return nothing when it cannot be started
Handle started(const std::string& program, HANDLE job, HANDLE input, HANDLE output) {
  const std::optional<std::wstring> path = wideFilePath(program);
  if (!path) {
    return Handle();
  }
  // The system's own libraries look for their files by this variable.
  std::wstring environment =
      L"SystemRoot=" + environmentVariable(L"SystemRoot").value_or(std::wstring());
  environment.append(2, L'\0');
  std::wstring commandLine = L"brindlevane";
  // It inherits the two handles and nothing else, and its job.
  constexpr DWORD kAttributes = 2;
  std::array<HANDLE, 2> handles = {input, output};
  SIZE_T bytes = 0;
  InitializeProcThreadAttributeList(nullptr, kAttributes, 0, &bytes);
  const auto room = std::make_unique<std::byte[]>(bytes);
  const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(room.get());
  if (InitializeProcThreadAttributeList(list, kAttributes, 0, &bytes) == 0) {
    return Handle();
  }
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = input;
  startup.StartupInfo.hStdOutput = output;
  startup.lpAttributeList = list;
  PROCESS_INFORMATION process = {};
  const bool isStarted =
      SetHandleInformation(input, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0 &&
      SetHandleInformation(output, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0 &&
      UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                sizeof handles, nullptr, nullptr) != 0 &&
      UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_JOB_LIST, &job, sizeof job, nullptr,
                                nullptr) != 0 &&
      CreateProcessW(path->c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                     CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT,
                     environment.data(), nullptr, &startup.StartupInfo, &process) != 0;
  DeleteProcThreadAttributeList(list);
  if (!isStarted) {
    return Handle();
  }
  CloseHandle(process.hThread);
  return Handle(process.hProcess);
}

DWORD millisecondsUntil(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<DWORD>(std::max<std::int64_t>(left, 0));
}

/// Reads a child's output to its end.
/// @return nothing when it printed too much
std::optional<std::string> readAll(HANDLE output, std::size_t longest) {
  std::string printed;
  std::array<char, 65536> block{};
  DWORD count = 0;
  while (printed.size() <= longest) {
    if (ReadFile(output, block.data(), static_cast<DWORD>(block.size()), &count, nullptr) == 0) {
      return printed;
    }
    printed.append(block.data(), count);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> outputOf(const std::string& program, std::string_view input,
                                    std::size_t longest, std::chrono::milliseconds timeLimit) {
  const Clock::time_point deadline = Clock::now() + timeLimit;
  const Handle job = openJob();
  Pipe in = openPipe(input.size());
  Pipe out = openPipe(0);
  if (!job || !in.reading || !out.reading) {
    return std::nullopt;
  }
  const Handle child = started(program, job.get(), in.reading.get(), out.writing.get());
  if (!child) {
    return std::nullopt;
  }
  in.reading.reset();
  out.writing.reset();
  DWORD written = 0;
  (void)WriteFile(in.writing.get(), input.data(), static_cast<DWORD>(input.size()), &written,
                  nullptr);
  in.writing.reset();
  auto printed = std::async(std::launch::async, readAll, out.reading.get(), longest);
  // It closes its output a moment before it has ended.
  const bool isInTime =
      printed.wait_until(deadline) == std::future_status::ready &&
      WaitForSingleObject(child.get(), millisecondsUntil(deadline)) == WAIT_OBJECT_0;
  TerminateJobObject(job.get(), EXIT_FAILURE);
  DWORD status = EXIT_FAILURE;
  return isInTime && GetExitCodeProcess(child.get(), &status) != 0 && status == EXIT_SUCCESS
             ? printed.get()
             : std::nullopt;
}

}  // namespace brindlevane
