#include "platform/sound/Confinement.h"

#include <sys/resource.h>

#ifdef BRINDLEVANE_SECCOMP
#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>

#include <cerrno>
#include <initializer_list>
#endif

namespace brindlevane {
namespace {

// The three streams, the kept output, the audio file, and one of a library while it is loaded.
constexpr rlim_t kMostDescriptors = 16;
// Two threads and more for as long as anybody waits.
constexpr rlim_t kMostProcessorSeconds = 180;
#ifdef BRINDLEVANE_SANITIZED
constexpr rlim_t kMostBytes = RLIM_INFINITY;
#else
// 200 MiB of samples, what a library keeps of a file, and the stacks of two threads.
constexpr rlim_t kMostBytes = rlim_t{240} << 20U;
#endif

void limit(decltype(RLIMIT_CORE) resource, rlim_t most) {
  rlimit limits{};
  if (getrlimit(resource, &limits) == 0 && limits.rlim_max > most) {
    limits = {most, most};
    (void)setrlimit(resource, &limits);
  }
}

#ifdef BRINDLEVANE_SECCOMP
/// Refuses system calls from here on, in all threads; nothing changes where the kernel cannot.
void filterSystemCalls() {
  const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
  if (filter == nullptr) {
    return;
  }
  for (const int call :
       {SCMP_SYS(socket), SCMP_SYS(socketpair),
        // Other processes: new ones, and what is done to those that are there.
        SCMP_SYS(fork), SCMP_SYS(vfork), SCMP_SYS(execve), SCMP_SYS(execveat), SCMP_SYS(kill),
        SCMP_SYS(tkill), SCMP_SYS(tgkill), SCMP_SYS(pidfd_open), SCMP_SYS(pidfd_send_signal),
        SCMP_SYS(ptrace), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev),
        // Files that are made, changed or gone without being opened for writing.
        SCMP_SYS(creat), SCMP_SYS(open_by_handle_at), SCMP_SYS(truncate), SCMP_SYS(unlink),
        SCMP_SYS(unlinkat), SCMP_SYS(rmdir), SCMP_SYS(rename), SCMP_SYS(renameat),
        SCMP_SYS(renameat2), SCMP_SYS(link), SCMP_SYS(linkat), SCMP_SYS(symlink),
        SCMP_SYS(symlinkat), SCMP_SYS(mkdir), SCMP_SYS(mkdirat), SCMP_SYS(mknod), SCMP_SYS(mknodat),
        SCMP_SYS(chmod), SCMP_SYS(fchmod), SCMP_SYS(fchmodat)}) {
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), call, 0);
  }
  // Calls whose arguments a filter cannot see; the C library does without them.
  for (const int call : {SCMP_SYS(clone3), SCMP_SYS(openat2), SCMP_SYS(io_uring_setup)}) {
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), call, 0);
  }
  seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(clone), 1,
                   scmp_arg_cmp{0, SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0});
  for (const auto flag : std::initializer_list<scmp_datum_t>{O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(open), 1,
                     scmp_arg_cmp{1, SCMP_CMP_MASKED_EQ, flag, flag});
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(openat), 1,
                     scmp_arg_cmp{2, SCMP_CMP_MASKED_EQ, flag, flag});
  }
  seccomp_attr_set(filter, SCMP_FLTATR_CTL_TSYNC, 1);
  seccomp_load(filter);
  seccomp_release(filter);
}
#endif

}  // namespace

void confine() {
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, 0);
  limit(RLIMIT_NOFILE, kMostDescriptors);
  limit(RLIMIT_CPU, kMostProcessorSeconds);
  limit(RLIMIT_DATA, kMostBytes);
#ifdef BRINDLEVANE_SECCOMP
  filterSystemCalls();
#endif
}

}  // namespace brindlevane
