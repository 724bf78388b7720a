#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace brindlevane {

inline constexpr int kStandardInput = 0;

/// Reads what there is, having waited for some of it.
///
/// @return bytes; 0 at the end and where nothing can be read
[[nodiscard]] std::size_t readSome(int descriptor, std::span<char> room);

/// Writes all the bytes.
///
/// @return whether that was possible
[[nodiscard]] bool writeAll(int descriptor, std::string_view bytes);

/// Keeps standard output for the caller alone, and points standard output and error at nothing.
/// What is read and written from then on passes as it is. That nobody reads any more is told by
/// `writeAll`, and not by a signal.
///
/// @return the descriptor to write to; negative when the process has none to spare
[[nodiscard]] int takeOverOutput();

/// Waits until nobody can read any more what is written to a descriptor.
///
/// @return false where that cannot be told
[[nodiscard]] bool waitUntilUnread(int descriptor);

}  // namespace brindlevane
