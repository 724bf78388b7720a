#include "support/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

extern char** environ;

namespace brindlevane {
namespace {

constexpr const char* kSupportFolderVariable = "XDG_DATA_HOME=";

/// @return the reading and the writing end, both closed in the programs that this one starts
std::pair<int, int> makePipe() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  for (const int end : ends) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  return {ends[0], ends[1]};
}

std::vector<std::string> environmentWith(const std::filesystem::path& supportFolder) {
  std::vector<std::string> variables{kSupportFolderVariable + supportFolder.string()};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (!std::string_view(*variable).starts_with(kSupportFolderVariable)) {
      variables.emplace_back(*variable);
    }
  }
  return variables;
}

/// The array of C strings that the system's calls want; it lives as long as the strings.
std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) {
    pointers.push_back(string.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

pid_t start(std::vector<std::string> command, std::vector<std::string> environment, int input,
            int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = -1;
  const int error = posix_spawnp(&process, command.front().c_str(), &actions, nullptr,
                                 pointersTo(command).data(), pointersTo(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), command.front());
  }
  return process;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::filesystem::path& supportFolder)
    : name_(command.front()) {
  const auto [childInput, ourInput] = makePipe();
  const auto [ourOutput, childOutput] = makePipe();
  input_ = ourInput;
  output_ = ourOutput;
  process_ = start(command, environmentWith(supportFolder), childInput, childOutput);
  close(childInput);
  close(childOutput);
}

ChildProcess::~ChildProcess() {
  close(input_);
  close(output_);
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

template <typename Take>
void ChildProcess::exchangeBlocks(std::string_view line, Take take) {
  if (write(input_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error(name_ + " does not read its input");
  }
  std::string_view got;
  do {
    const ssize_t count = read(output_, block_.data(), block_.size());
    if (count <= 0) {
      throw std::runtime_error(name_ + " left without an answer");
    }
    got = std::string_view(block_.data(), static_cast<std::size_t>(count));
    take(got);
  } while (!got.ends_with('\n'));
}

void ChildProcess::exchange(std::string_view line) {
  exchangeBlocks(line, [](std::string_view) {});
}

std::string ChildProcess::answer(std::string_view line) {
  std::string whole;
  exchangeBlocks(line, [&whole](std::string_view block) { whole += block; });
  return whole;
}

void ChildProcess::finish() {
  while (read(output_, block_.data(), block_.size()) > 0) {
  }
  int status = 0;
  waitpid(std::exchange(process_, -1), &status, 0);
  if (status != 0) {
    throw std::runtime_error(name_ + " failed");
  }
}

double ChildProcess::residentMiB() const {
  const std::string command = "ps -o rss= -p " + std::to_string(process_);
  const std::unique_ptr<FILE, int (*)(FILE*)> ps(popen(command.c_str(), "r"), pclose);
  double kibibytes = 0;
  if (ps == nullptr || std::fscanf(ps.get(), "%lf", &kibibytes) != 1) {
    throw std::runtime_error("ps does not tell the memory of a process");
  }
  return kibibytes / 1024;
}

}  // namespace brindlevane
