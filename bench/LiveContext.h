#pragma once

#include <cstddef>
#include <string>

namespace brindlevane {

/// A bridge's answer to a question for the context, as a Live set of about this size gives it:
/// tracks with mixer, devices and their parameters, clips and their notes.
///
/// @return a JSON object, longer than `size` by less than a hundredth of 5 MB
[[nodiscard]] std::string liveContext(std::size_t size);

}  // namespace brindlevane
