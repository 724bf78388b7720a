#pragma once

#include "support/Program.h"

#include <string>
#include <string_view>
#include <vector>

namespace brindlevane {

/// A program that runs beside this one, its three standard streams being pipes of ours. It is
/// killed when this object goes.
class ChildProcess {
 public:
  /// @param command      the program, looked up in the path when it has no slash, and its arguments
  /// @param environment  "NAME=value", in place of this process's own of the same name
  /// @param blocks       whether its ends of its input and output do; on Windows they always do
  /// @throws std::system_error  it cannot be started
  explicit ChildProcess(const std::vector<std::string>& command,
                        const std::vector<std::string>& environment = {}, bool blocks = true);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  [[nodiscard]] int number() const;

  /// Sends bytes as far as the program reads them.
  void send(std::string_view bytes) const;

  /// One line of output without its line feed, or what there is of it when the output ends.
  ///
  /// @throws std::runtime_error  nothing came for a minute
  [[nodiscard]] std::string line();

  /// Sends a line and reads its answer, which is a line too, without keeping it.
  ///
  /// @throws std::runtime_error  the program left, or nothing came for a minute
  void exchange(std::string_view line);

  [[nodiscard]] std::string restOfOutput();
  [[nodiscard]] std::string restOfError();

  void closeInput();
  void closeOutput();

  /// Asks it to end, as SIGTERM does, or kills it; Windows knows the latter only.
  void end(bool isKilled) const;

  /// Waits for the end: the exit status, -9 when it was killed, -15 when it ended as asked.
  int wait();

 private:
  [[nodiscard]] std::string_view block();

  std::string name_;
  Program program_;
  std::vector<char> block_;
  std::string pending_;
};

}  // namespace brindlevane
