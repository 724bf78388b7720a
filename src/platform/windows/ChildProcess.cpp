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
std::optional<Pipe> openPipe(std::size_t room) {
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  if (CreatePipe(&reading, &writing, nullptr, static_cast<DWORD>(room)) == 0) {
    return std::nullopt;
  }
  return Pipe{Handle(reading), Handle(writing)};
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

/// What a new process inherits: the three handles and nothing else.
class Inheritance {
 public:
  Inheritance(HANDLE input, HANDLE output) : handles_{input, output} {
    SIZE_T bytes = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
    room_ = std::make_unique<std::byte[]>(bytes);
    isInitialized_ = InitializeProcThreadAttributeList(list(), 1, 0, &bytes) != 0;
    isReady_ = isInitialized_ &&
               UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                         handles_.data(), sizeof handles_, nullptr, nullptr) != 0;
    for (const HANDLE handle : handles_) {
      isReady_ =
          isReady_ && SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0;
    }
  }
  Inheritance(const Inheritance&) = delete;
  Inheritance& operator=(const Inheritance&) = delete;
  ~Inheritance() {
    if (isInitialized_) {
      DeleteProcThreadAttributeList(list());
    }
  }

  [[nodiscard]] bool isReady() const { return isReady_; }
  [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST list() const {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(room_.get());
  }

 private:
  std::array<HANDLE, 2> handles_;
  std::unique_ptr<std::byte[]> room_;
  bool isInitialized_ = false;
  bool isReady_ = false;
};

/// Starts a program within a job.
/// @return nothing when it cannot be started
Handle started(const std::string& program, HANDLE job, HANDLE input, HANDLE output) {
  const Inheritance inheritance(input, output);
  const std::optional<std::wstring> path = wideFilePath(program);
  if (!path || !inheritance.isReady()) {
    return Handle();
  }
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = input;
  startup.StartupInfo.hStdOutput = output;
  startup.StartupInfo.hStdError = nullptr;
  startup.lpAttributeList = inheritance.list();
  // The system's own libraries look for their files by this variable.
  std::wstring environment =
      L"SystemRoot=" + environmentVariable(L"SystemRoot").value_or(std::wstring());
  environment.append(2, L'\0');
  std::wstring commandLine = L"brindlevane";
  PROCESS_INFORMATION process = {};
  if (CreateProcessW(path->c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                     CREATE_SUSPENDED | CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT |
                         EXTENDED_STARTUPINFO_PRESENT,
                     environment.data(), nullptr, &startup.StartupInfo, &process) == 0) {
    return Handle();
  }
  const Handle thread(process.hThread);
  Handle child(process.hProcess);
  if (AssignProcessToJobObject(job, child.get()) == 0) {
    TerminateProcess(child.get(), 1);
    return Handle();
  }
  ResumeThread(thread.get());
  return child;
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
  std::optional<Pipe> in = openPipe(input.size());
  std::optional<Pipe> out = openPipe(0);
  if (!job || !in || !out) {
    return std::nullopt;
  }
  const Handle child = started(program, job.get(), in->reading.get(), out->writing.get());
  if (!child) {
    return std::nullopt;
  }
  in->reading.reset();
  out->writing.reset();
  DWORD written = 0;
  (void)WriteFile(in->writing.get(), input.data(), static_cast<DWORD>(input.size()), &written,
                  nullptr);
  in->writing.reset();
  auto printed = std::async(std::launch::async, readAll, out->reading.get(), longest);
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
