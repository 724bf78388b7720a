#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace brindlevane {

/// A program that has been started, and our ends of its standard streams, which are descriptors.
struct Program {
  std::intptr_t process = -1;  ///< a process's number, or its handle on Windows
  int input = -1;
  int output = -1;
  int error = -1;
};

/// @see ChildProcess::ChildProcess
[[nodiscard]] Program startProgram(std::vector<std::string> command,
                                   std::vector<std::string> environment, bool blocks);

/// Waits until there is something to read, or until the end.
///
/// @return false when nothing came in time
[[nodiscard]] bool waitForOutput(int descriptor, int milliseconds);

void endProgram(std::intptr_t process, bool isKilled);

/// Waits for the end.
///
/// @see ChildProcess::wait
[[nodiscard]] int statusOf(std::intptr_t process);

[[nodiscard]] int numberOf(std::intptr_t process);

/// The number of the process that a process has started; 0 without one.
[[nodiscard]] int childOf(int process);

/// Whether a process is there.
[[nodiscard]] bool runs(int process);

}  // namespace brindlevane
