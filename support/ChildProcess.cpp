#include "support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

// POSIX leaves the declaration to the program.
extern char** environ;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

namespace brindlevane {
namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20U;
constexpr int kSilenceMilliseconds = 60000;

struct Pipe {
  Pipe() {
    if (pipe(ends.data()) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    for (const int end : ends) {
      fcntl(end, F_SETFD, FD_CLOEXEC);
    }
  }
  [[nodiscard]] int reading() const { return ends[0]; }
  [[nodiscard]] int writing() const { return ends[1]; }

  std::array<int, 2> ends{};
};

std::vector<std::string> environmentWith(std::vector<std::string> variables) {
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    const std::string_view name = text.substr(0, text.find('=') + 1);
    if (std::ranges::none_of(variables,
                             [name](const std::string& own) { return own.starts_with(name); })) {
      variables.emplace_back(text);
    }
  }
  return variables;
}

// The array of C strings that the system's calls want; it lives as long as the strings.
std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) {
    pointers.push_back(string.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

void closeOnce(int& descriptor) {
  if (descriptor >= 0) {
    close(std::exchange(descriptor, -1));
  }
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command,
                           const std::vector<std::string>& environment, int flags)
    : name_(command.front()), block_(kBlock) {
  // A program that has left shows when it is read from; it gets the usual treatment itself.
  std::signal(SIGPIPE, SIG_IGN);
  const Pipe in;
  const Pipe out;
  const Pipe error;
  fcntl(in.reading(), F_SETFL, O_RDONLY | flags);
  fcntl(out.writing(), F_SETFL, O_WRONLY | flags);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in.reading(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out.writing(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error.writing(), STDERR_FILENO);
  sigset_t usual;
  sigemptyset(&usual);
  sigaddset(&usual, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  std::vector<std::string> variables = environmentWith(environment);
  const int status = posix_spawnp(&process_, name_.c_str(), &actions, &attributes,
                                  pointersTo(command).data(), pointersTo(variables).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(in.reading());
  close(out.writing());
  close(error.writing());
  input_ = in.writing();
  output_ = out.reading();
  error_ = error.reading();
  if (status != 0) {
    process_ = -1;
    closeInput();
    closeOutput();
    closeOnce(error_);
    throw std::system_error(status, std::generic_category(), "Cannot start " + name_);
  }
}

ChildProcess::~ChildProcess() {
  closeInput();
  closeOutput();
  closeOnce(error_);
  if (process_ > 0) {
    end(SIGKILL);
    wait();
  }
}

void ChildProcess::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = write(input_, bytes.data(), bytes.size());
    if (count < 0) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

// What there is to read; nothing at the end.
std::string_view ChildProcess::block() {
  pollfd waiting{output_, POLLIN, 0};
  if (poll(&waiting, 1, kSilenceMilliseconds) <= 0) {
    throw std::runtime_error(name_ + " does not answer");
  }
  const ssize_t count = read(output_, block_.data(), block_.size());
  return {block_.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

std::string ChildProcess::line() {
  std::size_t end = pending_.find('\n');
  while (end == std::string::npos) {
    const std::string_view more = block();
    if (more.empty()) {
      return std::exchange(pending_, {});
    }
    const std::size_t before = pending_.size();
    pending_ += more;
    end = pending_.find('\n', before);
  }
  std::string line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  return line;
}

void ChildProcess::exchange(std::string_view line) {
  send(line);
  for (std::string_view got; !got.ends_with('\n');) {
    got = block();
    if (got.empty()) {
      throw std::runtime_error(name_ + " left without an answer");
    }
  }
}

std::string ChildProcess::restOfOutput() {
  std::string bytes = std::exchange(pending_, {});
  for (std::string_view more = block(); !more.empty(); more = block()) {
    bytes += more;
  }
  return bytes;
}

std::string ChildProcess::restOfError() {
  std::string bytes;
  for (ssize_t count = 1; count > 0;) {
    count = read(error_, block_.data(), block_.size());
    bytes.append(block_.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  return bytes;
}

void ChildProcess::closeInput() {
  closeOnce(input_);
}

void ChildProcess::closeOutput() {
  closeOnce(output_);
}

void ChildProcess::end(int signal) const {
  kill(process_, signal);
}

int ChildProcess::wait() {
  int status = 0;
  waitpid(std::exchange(process_, -1), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace brindlevane
