#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane {

/// The real server as a child process, with pipes for its three streams.
class ServerProcess {
 public:
  using Environment = std::vector<std::string>;  ///< "NAME=value"

  /// @param flags  of the server's ends of its input and output, O_NONBLOCK or 0
  explicit ServerProcess(Environment environment, int flags = 0) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    std::array<int, 2> error{};
    for (auto* ends : {&in, &out, &error}) {
      if (pipe2(ends->data(), O_CLOEXEC) != 0) {
        std::abort();
      }
    }
    for (const std::string sanitizer : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
      if (const char* options = std::getenv(sanitizer.c_str())) {
        environment.push_back(sanitizer + "=" + options);
      }
    }
    std::vector<char*> variables;
    for (std::string& variable : environment) {
      variables.push_back(variable.data());
    }
    variables.push_back(nullptr);
    std::array<char, sizeof BRINDLEVANE_SERVER> path{BRINDLEVANE_SERVER};
    std::array<char*, 2> arguments{path.data(), nullptr};
    fcntl(in[0], F_SETFL, O_RDONLY | flags);
    fcntl(out[1], F_SETFL, O_WRONLY | flags);
    process_ = fork();
    if (process_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      dup2(error[1], STDERR_FILENO);
      execve(path.data(), arguments.data(), variables.data());
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(error[1]);
    input_ = in[1];
    output_ = out[0];
    error_ = error[0];
  }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess() {
    closeInput();
    closeOutput();
    close(error_);
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
  }

  void send(const std::string& bytes) const {
    for (std::size_t sent = 0; sent < bytes.size();) {
      const ssize_t count = write(input_, bytes.data() + sent, bytes.size() - sent);
      if (count < 0) {
        return;
      }
      sent += static_cast<std::size_t>(count);
    }
  }

  /// One line of output, or what there is of it when the output ends.
  [[nodiscard]] std::string line() const {
    std::string line;
    for (char byte = 0; read(output_, &byte, 1) == 1 && byte != '\n';) {
      line += byte;
    }
    return line;
  }

  [[nodiscard]] std::string restOfOutput() const { return rest(output_); }
  [[nodiscard]] std::string restOfError() const { return rest(error_); }

  /// The folder of links to what the server has open.
  [[nodiscard]] std::filesystem::path descriptors() const {
    return std::filesystem::path("/proc") / std::to_string(process_) / "fd";
  }

  /// The numbers of the processes that it has started, each with a space behind it.
  [[nodiscard]] std::string children() const {
    const std::string number = std::to_string(process_);
    std::ifstream list("/proc/" + number + "/task/" + number + "/children");
    return {std::istreambuf_iterator<char>(list), {}};
  }

  void closeInput() { closeOnce(input_); }
  void closeOutput() { closeOnce(output_); }
  void end(int signal) const { kill(process_, signal); }

  /// Waits for the end: the exit status, or minus the number of the signal that ended it.
  int wait() {
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  static void closeOnce(int& descriptor) {
    if (descriptor >= 0) {
      close(std::exchange(descriptor, -1));
    }
  }

  static std::string rest(int descriptor) {
    std::string bytes;
    std::array<char, 65536> block{};
    for (ssize_t count = read(descriptor, block.data(), block.size()); count > 0;
         count = read(descriptor, block.data(), block.size())) {
      bytes.append(block.data(), static_cast<std::size_t>(count));
    }
    return bytes;
  }

  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  int error_ = -1;
};

}  // namespace brindlevane
