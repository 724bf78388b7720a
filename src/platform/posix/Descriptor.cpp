#include "platform/Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace brindlevane {
namespace {

/// Descriptors above this one are free of a meaning of their own.
constexpr int kLastStandardDescriptor = STDERR_FILENO;

/// Waits until the descriptor has one of the events, or until its other end is gone.
/// @return what happened; 0 when waiting is impossible
short waitFor(int descriptor, short events) {
  pollfd polled{descriptor, events, 0};
  while (poll(&polled, 1, -1) < 0 && errno == EINTR) {
  }
  return polled.revents;
}

}  // namespace

std::size_t readSome(int descriptor, std::span<char> room) {
  for (;;) {
    const ssize_t count = read(descriptor, room.data(), room.size());
    if (count >= 0) {
      return static_cast<std::size_t>(count);
    }
    if (errno == EAGAIN) {
      waitFor(descriptor, POLLIN);
    } else if (errno != EINTR) {
      return 0;
    }
  }
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      waitFor(descriptor, POLLOUT);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

int takeOverOutput() {
  std::signal(SIGPIPE, SIG_IGN);
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kLastStandardDescriptor + 1);
  int nowhere = 0;
  // A standard descriptor that was closed at the start is filled by the first one opened.
  do {
    nowhere = open("/dev/null", O_RDWR);
  } while (nowhere >= 0 && nowhere <= kLastStandardDescriptor);
  if (nowhere < 0) {
    return -1;
  }
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  close(nowhere);
#ifdef F_SETPIPE_SZ
  // A wider pipe lets a long answer through with fewer turns between writer and reader; where the
  // output is no pipe, or the user has enough of them, it stays as it is.
  constexpr int kPipeSize = 1 << 20;
  (void)fcntl(output, F_SETPIPE_SZ, kPipeSize);
#endif
  return output;
}

bool waitUntilUnread(int descriptor) {
  return waitFor(descriptor, 0) != 0;
}

}  // namespace brindlevane
