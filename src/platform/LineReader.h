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
  std::array<char, 16384> block_{};
  std::size_t taken_ = 0;
  std::size_t filled_ = 0;
};

}  // namespace brindlevane
