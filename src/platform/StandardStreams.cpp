#include "platform/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <new>
#include <thread>

namespace brindlevane {
namespace {

/// Descriptors above this one are free of a meaning of their own.
constexpr int kLastStandardDescriptor = STDERR_FILENO;

constexpr int kPipeSize = 1 << 20;

/// Waits until the descriptor has one of the events, or until its other end is gone.
/// @return what happened; 0 when waiting is impossible
short waitFor(int descriptor, short events) {
  pollfd polled{descriptor, events, 0};
  while (poll(&polled, 1, -1) < 0 && errno == EINTR) {
  }
  return polled.revents;
}

[[noreturn]] void leave() {
  _exit(0);
}

/// Keeps the output for the caller alone and points standard output and error at nothing.
int takeOverOutput() {
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kLastStandardDescriptor + 1);
  int nowhere = 0;
  // A standard descriptor that was closed at the start is filled by the first one opened.
  do {
    nowhere = open("/dev/null", O_RDWR);
  } while (nowhere >= 0 && nowhere <= kLastStandardDescriptor);
  if (nowhere < 0) {
    leave();
  }
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  close(nowhere);
  return output;
}

/// Appends the piece, at the second attempt if need be.
/// @return whether there was room for it; if not, the line is as it was
bool append(std::string& line, std::string_view piece) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      line += piece;
      return true;
    } catch (const std::bad_alloc&) {
      // Memory may come back: other threads and processes free theirs.
    }
  }
  return false;
}

}  // namespace

std::optional<std::string> LineReader::next() {
  std::optional<std::string> line;
  while (!line && fill()) {
    line = readLine();
  }
  return line;
}

std::optional<std::string> LineReader::readLine() {
  std::string line;
  bool ended = false;
  bool tooLong = false;
  bool hasRoom = true;
  while (!ended && fill()) {
    const std::size_t feed = rest().find('\n');
    const std::string_view piece = rest().substr(0, feed);
    ended = feed != std::string_view::npos;
    taken_ += piece.size() + (ended ? 1 : 0);
    // One byte more than the limit, which may be the carriage return.
    tooLong = tooLong || line.size() + piece.size() > kLongestLine + 1;
    hasRoom = hasRoom && (tooLong || append(line, piece));
    if (tooLong || !hasRoom) {
      line = std::string();
    }
  }
  if (!hasRoom) {
    return std::nullopt;
  }
  if (ended && !line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  if (line.size() > kLongestLine) {
    line.clear();
  }
  return line;
}

bool LineReader::fill() {
  while (taken_ == filled_) {
    const ssize_t count = read(descriptor_, block_.data(), block_.size());
    if (count > 0) {
      taken_ = 0;
      filled_ = static_cast<std::size_t>(count);
    } else if (count < 0 && errno == EAGAIN) {
      waitFor(descriptor_, POLLIN);
    } else if (count == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::string_view LineReader::rest() const {
  return std::string_view(block_.data(), filled_).substr(taken_);
}

StandardStreams::StandardStreams() : input_(STDIN_FILENO), output_(takeOverOutput()) {
  if (output_ < 0) {
    leave();
  }
#ifdef F_SETPIPE_SZ
  // A wider pipe lets a long answer through with fewer turns between writer and reader; where the
  // output is no pipe, or the user has enough of them, it stays as it is.
  (void)fcntl(output_, F_SETPIPE_SZ, kPipeSize);
#endif
  // The reader's departure is met where it happens, not by a signal.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    std::thread([output = output_] {
      if (waitFor(output, 0) != 0) {
        leave();
      }
    }).detach();
  } catch (const std::exception&) {
    // No thread to be had: the reader's departure is met by the next answer.
  }
}

void StandardStreams::write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::write(output_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      waitFor(output_, POLLOUT);
    } else if (errno != EINTR) {
      leave();
    }
  }
}

}  // namespace brindlevane
