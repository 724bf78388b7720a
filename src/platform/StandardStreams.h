#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace brindlevane {

/// A line may be this long, in bytes without its terminator.
inline constexpr std::size_t kLongestLine = std::size_t{64} << 20U;

/// The lines that a descriptor delivers.
class LineReader {
 public:
  explicit LineReader(int descriptor) : descriptor_(descriptor) {}

  /// The next line without its line feed, or carriage return and line feed; what follows the last
  /// one counts as a line unless it is empty. Nothing at the end of the input. A line that is too
  /// long is skipped and given as an empty one; one that memory has no room for is left out.
  [[nodiscard]] std::optional<std::string> next();

 private:
  /// Reads to the end of the line. Nothing when memory had no room for it.
  std::optional<std::string> readLine();
  /// Whether the block holds a byte to be taken, having been filled again if need be.
  bool fill();
  [[nodiscard]] std::string_view rest() const;

  int descriptor_;
  std::array<char, 65536> block_{};
  std::size_t taken_ = 0;
  std::size_t filled_ = 0;
};

/// The process's standard input and output, taken over from everything else in the process: what
/// a library prints to standard output or standard error goes nowhere. Make one, first of all.
///
/// The process ends with status 0 as soon as the reader of its output is gone.
class StandardStreams {
 public:
  StandardStreams();

  [[nodiscard]] std::optional<std::string> readLine() { return input_.next(); }

  /// Writes the bytes at once, or ends the process when nobody can read them any more.
  void write(std::string_view bytes) const;

 private:
  LineReader input_;
  int output_;
};

}  // namespace brindlevane
