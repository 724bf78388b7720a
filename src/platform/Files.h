#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace brindlevane {

/// The bytes of a regular file, cut after `longest` of them. Nothing when there is no such file,
/// it cannot be read or is no regular file; never waits, not even on a FIFO.
[[nodiscard]] std::optional<std::string> readRegularFile(const std::string& path,
                                                         std::size_t longest);

}  // namespace brindlevane
