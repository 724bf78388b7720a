#include "platform/sound/Confinement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#ifdef __linux__
#include <sys/syscall.h>
#endif
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <future>
#include <thread>

namespace brindlevane {
namespace {

rlim_t most(decltype(RLIMIT_CORE) resource) {
  rlimit limits{};
  getrlimit(resource, &limits);
  return limits.rlim_max;
}

#ifdef __linux__
/// What a system call fails with, whose other arguments are 0; 0 when it succeeds.
template <typename... Arguments>
int errorOf(long call, Arguments... arguments) {
  return syscall(call, arguments..., nullptr, nullptr, nullptr, nullptr) < 0 ? errno : 0;
}
#endif

/// Ends the process with status 0 when it is confined as it should be, else with a number that
/// tells what is wrong.
[[noreturn]] void leaveConfined() {
  const auto require = [](bool holds, int number) {
    if (!holds) {
      std::_Exit(number);
    }
  };
#if defined(__linux__) && !defined(BRINDLEVANE_SANITIZED)
  std::promise<void> confined;
  std::future<int> error = std::async(std::launch::async, [&confined] {
    confined.get_future().wait();
    return errorOf(SYS_socket);
  });
#endif
  confine();
  require(most(RLIMIT_CORE) == 0 && most(RLIMIT_FSIZE) == 0, 1);
  require(most(RLIMIT_NOFILE) == 16 && most(RLIMIT_CPU) == 180, 2);
  require(open("/dev/null", O_RDONLY) >= 0, 3);
  std::thread([] {}).join();
#if defined(__linux__) && !defined(BRINDLEVANE_SANITIZED)
  require(most(RLIMIT_DATA) == rlim_t{240} << 20U, 4);
  require(std::malloc(std::size_t{250} << 20U) == nullptr, 4);
  require(std::malloc(std::size_t{210} << 20U) != nullptr, 5);
  require(fork() < 0 && errno == EPERM, 6);
  confined.set_value();
  require(error.get() == EPERM, 7);
  for (const long call :
       {SYS_socket, SYS_socketpair,
        // Other processes.
        SYS_execve, SYS_execveat, SYS_kill, SYS_tkill, SYS_tgkill, SYS_pidfd_open,
        SYS_pidfd_send_signal, SYS_ptrace, SYS_process_vm_readv, SYS_process_vm_writev,
        // Files.
        SYS_open_by_handle_at, SYS_truncate, SYS_unlinkat, SYS_renameat2, SYS_linkat, SYS_symlinkat,
        SYS_mkdirat, SYS_mknodat, SYS_fchmod, SYS_fchmodat}) {
    require(errorOf(call) == EPERM, 8);
  }
  for (const long call : {SYS_clone3, SYS_openat2, SYS_io_uring_setup}) {
    require(errorOf(call) == ENOSYS, 9);
  }
  for (const int flag : {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
    require(errorOf(SYS_openat, 0, nullptr, flag) == EPERM, 10);
#ifdef SYS_open
    require(errorOf(SYS_open, nullptr, flag) == EPERM, 11);
#endif
  }
  require(errorOf(SYS_openat, 0, nullptr, O_RDONLY) == EFAULT, 12);
#ifdef SYS_open
  for (const long call : {SYS_fork, SYS_vfork, SYS_creat, SYS_unlink, SYS_rmdir, SYS_rename,
                          SYS_renameat, SYS_link, SYS_symlink, SYS_mkdir, SYS_mknod, SYS_chmod}) {
    require(errorOf(call) == EPERM, 13);
  }
#endif
#endif
  std::_Exit(0);
}

TEST(ConfinementDeathTest, LeavesReadingAndComputing) {
  EXPECT_EXIT(leaveConfined(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace brindlevane
