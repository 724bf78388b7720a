#include "support/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

// POSIX leaves the declaration to the program.
extern char** environ;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

namespace brindlevane {
namespace {

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

void addOwnVariables(std::vector<std::string>& variables) {
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    const std::string_view name = text.substr(0, text.find('=') + 1);
    if (std::ranges::none_of(
            variables, [name](const std::string& given) { return given.starts_with(name); })) {
      variables.emplace_back(text);
    }
  }
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

}  // namespace

Program startProgram(std::vector<std::string> command, std::vector<std::string> environment,
                     bool blocks) {
  // A program that has left shows when it is read from; it gets the usual treatment itself.
  std::signal(SIGPIPE, SIG_IGN);
  const Pipe in;
  const Pipe out;
  const Pipe error;
  const int flags = blocks ? 0 : O_NONBLOCK;
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
  addOwnVariables(environment);
  pid_t process = -1;
  const int status = posix_spawnp(&process, command.front().c_str(), &actions, &attributes,
                                  pointersTo(command).data(), pointersTo(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  for (const int theirs : {in.reading(), out.writing(), error.writing()}) {
    close(theirs);
  }
  if (status != 0) {
    for (const int ours : {in.writing(), out.reading(), error.reading()}) {
      close(ours);
    }
    throw std::system_error(status, std::generic_category(), "Cannot start " + command.front());
  }
  return {process, in.writing(), out.reading(), error.reading()};
}

bool waitForOutput(int descriptor, int milliseconds) {
  pollfd waiting{descriptor, POLLIN, 0};
  return poll(&waiting, 1, milliseconds) > 0;
}

void endProgram(std::intptr_t process, bool isKilled) {
  kill(static_cast<pid_t>(process), isKilled ? SIGKILL : SIGTERM);
}

int statusOf(std::intptr_t process) {
  int status = 0;
  waitpid(static_cast<pid_t>(process), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int numberOf(std::intptr_t process) {
  return static_cast<int>(process);
}

int childOf(int process) {
  FILE* const list = popen(("pgrep -P " + std::to_string(process)).c_str(), "r");
  int child = 0;
  const bool isThere = std::fscanf(list, "%d", &child) == 1;
  pclose(list);
  return isThere ? child : 0;
}

bool runs(int process) {
  return kill(process, 0) == 0;
}

}  // namespace brindlevane
