#include "practice/McpClient.h"

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
#include <string_view>
#include <system_error>
#include <vector>

// POSIX leaves the declaration to the program.
extern char** environ;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

namespace brindlevane::practice {
namespace {

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
  std::array<int, 2> ends{};  // to read from, to write to
};

std::vector<std::string> environmentWith(const std::filesystem::path& home) {
  std::vector<std::string> variables = {"HOME=" + home.string(),
                                        "XDG_DATA_HOME=" + supportFolderIn(home).string()};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (!text.starts_with("HOME=") && !text.starts_with("XDG_DATA_HOME=")) {
      variables.emplace_back(text);
    }
  }
  return variables;
}

}  // namespace

std::filesystem::path supportFolderIn(const std::filesystem::path& home) {
  return home / "Library" / "Application Support";
}

McpClient::McpClient(const std::filesystem::path& server, const std::filesystem::path& home) {
  std::signal(SIGPIPE, SIG_IGN);  // a server that has gone shows when it is read from
  const Pipe in;
  const Pipe out;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in.ends[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out.ends[1], STDOUT_FILENO);
  std::string program = server.string();
  std::array<char*, 2> arguments = {program.data(), nullptr};
  std::vector<std::string> variables = environmentWith(home);
  std::vector<char*> environment(variables.size() + 1);  // ends with a null pointer
  std::ranges::transform(variables, environment.begin(),
                         [](std::string& text) { return text.data(); });
  const int error = posix_spawnp(&process_, program.c_str(), &actions, nullptr, arguments.data(),
                                 environment.data());
  posix_spawn_file_actions_destroy(&actions);
  close(in.ends[0]);
  close(out.ends[1]);
  input_ = in.ends[1];
  output_ = out.ends[0];
  if (error != 0) {
    close(input_);
    close(output_);
    throw std::system_error(error, std::generic_category(), "Cannot start " + program);
  }
  (void)request("initialize", {{"protocolVersion", "2025-06-18"},
                               {"capabilities", Json::object()},
                               {"clientInfo", {{"name", "practice-session"}, {"version", "1"}}}});
  send({{"jsonrpc", "2.0"}, {"method", "notifications/initialized"}});
}

McpClient::~McpClient() {
  close(input_);
  close(output_);
  waitpid(process_, nullptr, 0);
}

Json McpClient::request(const std::string& method, const Json& params) {
  send({{"jsonrpc", "2.0"}, {"id", ++lastId_}, {"method", method}, {"params", params}});
  const Json answer = Json::parse(readLine());
  if (answer.value("id", Json()) != lastId_ || !answer.contains("result")) {
    throw std::runtime_error("The server answered " + answer.dump());
  }
  return answer["result"];
}

void McpClient::send(const Json& message) const {
  const std::string line = message.dump() + "\n";
  for (std::size_t sent = 0; sent < line.size();) {
    const ssize_t count = write(input_, line.data() + sent, line.size() - sent);
    if (count < 0) {
      throw std::system_error(errno, std::generic_category(), "The server takes no more input");
    }
    sent += static_cast<std::size_t>(count);
  }
}

std::string McpClient::readLine() {
  std::size_t end = pending_.find('\n');
  while (end == std::string::npos) {
    pollfd waiting{.fd = output_, .events = POLLIN, .revents = 0};
    std::array<char, 65536> block{};
    const bool heard = poll(&waiting, 1, kSilenceMilliseconds) > 0;
    const ssize_t count = heard ? read(output_, block.data(), block.size()) : -1;
    if (count <= 0) {
      throw std::runtime_error(count == 0 ? "The server has left." : "The server does not answer.");
    }
    const std::size_t before = pending_.size();
    pending_.append(block.data(), static_cast<std::size_t>(count));
    end = pending_.find('\n', before);
  }
  std::string line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  return line;
}

}  // namespace brindlevane::practice
