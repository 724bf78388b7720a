#pragma once

#include "platform/Json.h"

#include <iosfwd>
#include <string>
#include <string_view>

namespace brindlevane::practice {

/// Columns of the terminal that everything is made to fit.
inline constexpr std::size_t kPageWidth = 80;

/// The number with so many digits behind the point.
[[nodiscard]] std::string fixed(double value, int decimals);

/// The text cut or padded to so many characters; control characters become "?".
[[nodiscard]] std::string fitted(std::string_view text, std::size_t width);

/// A horizontal bar of at most `width` columns, to an eighth of a column.
/// @param share  0 to 1
[[nodiscard]] std::string bar(double share, std::size_t width);

/// Prints words one after the other, breaking lines before the page's edge.
/// @param indent   spaces before the first line
/// @param hanging  spaces before each further line
void printWrapped(std::ostream& out, std::string_view text, std::size_t indent,
                  std::size_t hanging);

/// Prints a measurement as its reader would want it: figures, waveform, spectrogram, bands.
void printMeasurement(std::ostream& out, const Json& measurement);

}  // namespace brindlevane::practice
