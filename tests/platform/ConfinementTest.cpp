#include "platform/sound/Confinement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace brindlevane {
namespace {

rlim_t most(decltype(RLIMIT_CORE) resource) {
  rlimit limits{};
  getrlimit(resource, &limits);
  return limits.rlim_max;
}

/// Ends the process with status 0 when it is confined as it should be, else with a number that
/// tells what is wrong.
[[noreturn]] void leaveConfined() {
  const auto require = [](bool holds, int number) {
    if (!holds) {
      std::_Exit(number);
    }
  };
  confine();
  require(most(RLIMIT_CORE) == 0 && most(RLIMIT_FSIZE) == 0, 1);
  require(most(RLIMIT_NOFILE) <= 16 && most(RLIMIT_CPU) <= 180, 2);
  require(open("/dev/null", O_RDONLY) >= 0, 3);
  std::thread([] {}).join();
#if defined(__linux__) && !defined(BRINDLEVANE_SANITIZED)
  require(std::malloc(std::size_t{250} << 20U) == nullptr, 4);
  require(std::malloc(std::size_t{210} << 20U) != nullptr, 5);
  const auto isRefused = [](auto result) { return result < 0 && errno == EPERM; };
  for (const int flags : {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
    require(isRefused(open("/dev/null", O_RDONLY | flags, 0600)), 6);
  }
  require(isRefused(truncate("/nowhere/x", 0)) && isRefused(unlink("/nowhere/x")) &&
              isRefused(rename("/nowhere/x", "/nowhere/y")) && isRefused(rmdir("/nowhere/x")) &&
              isRefused(symlink("x", "/nowhere/x")) && isRefused(link("/nowhere/x", "/nowhere/y")),
          7);
  require(isRefused(mkdir("/nowhere/x", 0)) && isRefused(chmod("/nowhere/x", 0)), 8);
  require(isRefused(socket(AF_INET, SOCK_STREAM, 0)), 9);
  require(isRefused(fork()) && isRefused(execl("/bin/true", "true", nullptr)), 10);
  char byte = 0;
  const iovec one{&byte, 1};
  require(
      isRefused(kill(getpid(), 0)) && isRefused(process_vm_readv(getpid(), &one, 1, &one, 1, 0)),
      11);
#endif
  std::_Exit(0);
}

TEST(ConfinementDeathTest, LeavesReadingAndComputing) {
  EXPECT_EXIT(leaveConfined(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace brindlevane
