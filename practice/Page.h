#pragma once

#include "platform/Json.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

namespace brindlevane::practice {

/// The number with so many digits behind the point.
[[nodiscard]] std::string fixed(double value, int decimals);

/// The text as UTF-8, U+FFFD in place of bytes that are none and of control characters.
[[nodiscard]] std::string printable(std::string_view bytes);

/// Text and pictures for a terminal. Lines fit its width and end without blanks.
class Page {
 public:
  /// @param width    columns, 40 to 120
  /// @param isAscii  whether nothing but ASCII can be shown
  Page(std::ostream& out, std::size_t width, bool isAscii)
      : out_(out), width_(width), isAscii_(isAscii) {}

  /// A page as wide as the terminal that standard output is, 80 columns where it is none, in the
  /// characters of the locale.
  [[nodiscard]] static Page ofStandardOutput();

  /// The text in characters that can be shown.
  [[nodiscard]] std::string legible(std::string_view text) const;

  /// Prints a line, cut at the page's edge.
  void line(std::string_view text);

  /// Prints words one after the other, breaking lines before the page's edge, and words that are
  /// longer than a line.
  /// @param indent   spaces before the first line
  /// @param hanging  spaces before each further line
  void words(std::string_view text, std::size_t indent, std::size_t hanging);

  /// Prints a measurement as its reader would want it: figures, waveform, spectrogram.
  void measurement(const Json& measurement);

  /// The text cut or padded to so many characters.
  [[nodiscard]] static std::string fitted(std::string_view text, std::size_t columns);

  void flush();

 private:
  void figures(const Json& measurement);
  void pictures(const Json& measurement);

  std::ostream& out_;
  std::size_t width_;
  bool isAscii_;
};

}  // namespace brindlevane::practice
