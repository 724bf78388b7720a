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

/// What a new process is born with: the two handles and nothing else, and its job.
class Heritage {
 public:
  Heritage(HANDLE input, HANDLE output, HANDLE job) : handles_{input, output}, job_(job) {
    constexpr DWORD kAttributes = 2;
    SIZE_T bytes = 0;
    InitializeProcThreadAttributeList(nullptr, kAttributes, 0, &bytes);
    room_ = std::make_unique<std::byte[]>(bytes);
    isInitialized_ = InitializeProcThreadAttributeList(list(), kAttributes, 0, &bytes) != 0;
    isReady_ = isInitialized_ &&
               add(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(), sizeof handles_) &&
               add(PROC_THREAD_ATTRIBUTE_JOB_LIST, &job_, sizeof job_);
    for (const HANDLE handle : handles_) {
      isReady_ =
          isReady_ && SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0;
    }
  }
  Heritage(const Heritage&) = delete;
  Heritage& operator=(const Heritage&) = delete;
  ~Heritage() {
    if (isInitialized_) {
      DeleteProcThreadAttributeList(list());
    }
  }

  [[nodiscard]] bool isReady() const { return isReady_; }
  [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST list() const {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(room_.get());
  }

 private:
  bool add(DWORD_PTR attribute, void* value, SIZE_T bytes) {
    return UpdateProcThreadAttribute(list(), 0, attribute, value, bytes, nullptr, nullptr) != 0;
  }

  std::array<HANDLE, 2> handles_;
  HANDLE job_;
  std::unique_ptr<std::byte[]> room_;
  bool isInitialized_ = false;
  bool isReady_ = false;
};

/// Starts a program that belongs to a job from its first moment on: this process may end at any.
/// @return nothing when it cannot be started
Handle started(const std::string& program, HANDLE job, HANDLE input, HANDLE output) {
  const Heritage heritage(input, output, job);
  const std::optional<std::wstring> path = wideFilePath(program);
  if (!path || !heritage.isReady()) {
    return Handle();
  }
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = input;
  startup.StartupInfo.hStdOutput = output;
  startup.StartupInfo.hStdError = nullptr;
  startup.lpAttributeList = heritage.list();
  // The system's own libraries look for their files by this variable.
  std::wstring environment =
      L"SystemRoot=" + environmentVariable(L"SystemRoot").value_or(std::wstring());
  environment.append(2, L'\0');
  std::wstring commandLine = L"brindlevane";
  PROCESS_INFORMATION process = {};
  if (CreateProcessW(path->c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                     CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT,
                     environment.data(), nullptr, &startup.StartupInfo, &process) == 0) {
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
