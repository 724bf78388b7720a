#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace brindlevane {

/// A program that runs beside this one, its standard input and output being pipes of ours. What it
/// writes to standard error is dropped. It is killed when this object goes.
class ChildProcess {
 public:
  /// @param command        the program, looked up in the path when it has no slash, and its
  ///     arguments
  /// @param supportFolder  where the program looks for the bridge's configuration
  /// @throws std::system_error  it cannot be started
  explicit ChildProcess(const std::vector<std::string>& command,
                        const std::filesystem::path& supportFolder = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Sends a line and reads its answer, which is a line too, without keeping it.
  ///
  /// @param line  ends with a line feed, shorter than a pipe holds
  /// @throws std::runtime_error  the program left
  void exchange(std::string_view line);

  /// The same, but returns the answer with its line feed.
  [[nodiscard]] std::string answer(std::string_view line);

  /// Reads what the program writes until it leaves.
  ///
  /// @throws std::runtime_error  it left with another status than 0
  void finish();

  /// The memory, in MiB, that the program holds at present.
  [[nodiscard]] double residentMiB() const;

 private:
  template <typename Take>
  void exchangeBlocks(std::string_view line, Take take);

  std::string name_;
  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::vector<char> block_ = std::vector<char>(std::size_t{1} << 20U);
};

}  // namespace brindlevane
