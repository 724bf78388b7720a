#pragma once

namespace brindlevane {

/// Whether an MPEG audio file begins with a frame that tells how many follow ("Xing", "Info" or
/// "VBRI"), so that its length is known without reading it all.
///
/// @param descriptor  an open regular file; its position is not moved
[[nodiscard]] bool mpegFramesAreCounted(int descriptor);

}  // namespace brindlevane
