#include "platform/sound/Confinement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
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
  require(open("/dev/null", O_WRONLY) < 0 && errno == EPERM, 6);
  require(open("/dev/null", O_RDWR) < 0 && open("/tmp/x", O_CREAT, 0600) < 0, 7);
  require(open("/dev/null", O_RDONLY | O_TRUNC) < 0, 8);
  require(socket(AF_INET, SOCK_STREAM, 0) < 0 && errno == EPERM, 9);
  require(fork() < 0 && errno == EPERM, 10);
  require(execl("/bin/true", "true", nullptr) < 0 && errno == EPERM, 11);
#endif
  std::_Exit(0);
}

TEST(ConfinementDeathTest, LeavesReadingAndComputing) {
  EXPECT_EXIT(leaveConfined(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace brindlevane
