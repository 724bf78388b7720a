#pragma once

#include <string>

namespace brindlevane {

/// A new random UUID in its 36-character form, lower case.
///
/// @see RFC 9562, section 5.4 (version 4).
[[nodiscard]] std::string randomUuid();

}  // namespace brindlevane
