#include "platform/sound/Confinement.h"

#include <windows.h>

namespace brindlevane {
namespace {

// 200 MiB of samples, what a library keeps of a file, and the stacks of two threads.
constexpr SIZE_T kMostBytes = SIZE_T{240} << 20U;
// Two threads and more for as long as anybody waits, in units of 100 ns.
constexpr LONGLONG kMostProcessorTime = LONGLONG{180} * 10'000'000;

}  // namespace

void confine() {
  // A crash ends the process and shows no window.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  // The handle is kept: the limits hold for as long as the process.
  const HANDLE job = CreateJobObjectW(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags =
      JOB_OBJECT_LIMIT_ACTIVE_PROCESS | JOB_OBJECT_LIMIT_PROCESS_TIME |
      JOB_OBJECT_LIMIT_PROCESS_MEMORY | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
  limits.BasicLimitInformation.ActiveProcessLimit = 1;
  limits.BasicLimitInformation.PerProcessUserTimeLimit.QuadPart = kMostProcessorTime;
  limits.ProcessMemoryLimit = kMostBytes;
  if (SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits) !=
      0) {
    (void)AssignProcessToJobObject(job, GetCurrentProcess());
  }
}

}  // namespace brindlevane
