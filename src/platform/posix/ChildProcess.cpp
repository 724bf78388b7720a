#include "platform/ChildProcess.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace brindlevane {
namespace {

using Clock = std::chrono::steady_clock;

/// A pipe. An end that is closed, or was not to be had, is -1, which close() leaves alone.
struct Pipe {
  Pipe() {
    if (pipe(ends.data()) == 0) {
      for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
      }
    }
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    close(reading);
    close(writing);
  }

  std::array<int, 2> ends = {-1, -1};
  int& reading = ends[0];
  int& writing = ends[1];
};

/// A running program. It is killed when this object goes, unless it has ended.
class Child {
 public:
  explicit Child(pid_t process) : process_(process) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { end(); }

  /// @return how it ended, as waitpid tells it
  int end() {
    int status = 0;
    if (process_ > 0) {
      // One that has closed its output by ending is past being killed.
      kill(process_, SIGKILL);
      while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
      }
      process_ = -1;
    }
    return status;
  }

 private:
  pid_t process_;
};

/// Keeps from other programs what this process was itself started with besides its streams.
void keepDescriptors() {
  const auto keep = [](int descriptor) {
    if (descriptor > STDERR_FILENO) {
      fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
  };
  if (DIR* const open = opendir("/dev/fd")) {
    while (const dirent* const entry = readdir(open)) {
      keep(std::atoi(entry->d_name));
    }
    closedir(open);
  } else {
    // Nothing lists them where /proc is not mounted; most programs may have no more than these.
    constexpr int kUsualLimit = 1024;
    for (int descriptor = 0; descriptor < kUsualLimit; ++descriptor) {
      keep(descriptor);
    }
  }
}

/// @param input, output  what become the program's streams
/// @return nothing when it cannot be started
std::optional<pid_t> started(std::string program, int input, int output) {
  keepDescriptors();
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  // Without any of these the program would read this process's own input.
  const bool isReady = posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO) == 0 &&
                       posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO) == 0;
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  std::array<char*, 2> arguments = {program.data(), nullptr};
  std::array<char*, 1> environment = {nullptr};
  pid_t process = 0;
  const bool isStarted = isReady && posix_spawn(&process, program.c_str(), &files, &attributes,
                                                arguments.data(), environment.data()) == 0;
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  return isStarted ? std::optional(process) : std::nullopt;
}

/// Feeds and reads a child until it closes its output.
/// @return nothing when it printed too much or took too long
std::optional<std::string> exchanged(Pipe& input, const Pipe& output, std::string_view rest,
                                     std::size_t longest, Clock::time_point deadline) {
  std::string printed;
  std::array<char, 65536> block{};
  while (printed.size() <= longest) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
      return std::nullopt;
    }
    std::array<pollfd, 2> ends = {pollfd{output.reading, POLLIN, 0},
                                  pollfd{input.writing, POLLOUT, 0}};
    if (poll(ends.data(), ends.size(), static_cast<int>(left)) < 0) {
      continue;
    }
    if (ends[1].revents != 0) {
      const ssize_t count = write(input.writing, rest.data(), rest.size());
      rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      if (rest.empty() || (count < 0 && errno != EAGAIN && errno != EINTR)) {
        close(std::exchange(input.writing, -1));
      }
    }
    if (ends[0].revents != 0) {
      const ssize_t count = read(output.reading, block.data(), block.size());
      if (count == 0) {
        return printed;
      }
      printed.append(block.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> outputOf(const std::string& program, std::string_view input,
                                    std::size_t longest, std::chrono::milliseconds timeLimit) {
  const Clock::time_point deadline = Clock::now() + timeLimit;
  Pipe in;
  Pipe out;
  if (in.reading < 0 || out.reading < 0) {
    return std::nullopt;
  }
  const std::optional<pid_t> process = started(program, in.reading, out.writing);
  if (!process) {
    return std::nullopt;
  }
  Child child(*process);
  close(std::exchange(in.reading, -1));
  close(std::exchange(out.writing, -1));
  fcntl(in.writing, F_SETFL, O_NONBLOCK);
  std::optional<std::string> printed = exchanged(in, out, input, longest, deadline);
  const int status = child.end();
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? std::move(printed) : std::nullopt;
}

}  // namespace brindlevane
