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
  /// long, or that memory has no room for, is skipped and given as an empty one.
  [[nodiscard]] std::optional<std::string> next();

 private:
  /// What has been read and not been taken; empty at the end of the input alone.
  [[nodiscard]] std::string_view rest();

  int descriptor_;
  std::array<char, 16384> block_{};
  std::size_t taken_ = 0;
  std::size_t filled_ = 0;
};

}  // namespace brindlevane
