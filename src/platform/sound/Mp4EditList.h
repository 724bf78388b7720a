#pragma once

#include "platform/RegularFile.h"

#include <cstdint>
#include <optional>

namespace brindlevane {

/// The part of its media that the first audio track of an MP4 or QuickTime file presents; without
/// an edit list all of it.
struct Mp4Edit {
  std::int64_t mediaStart = 0;       ///< first media unit presented
  std::int64_t duration = 0;         ///< movie units; 0: to the end of the media
  std::uint32_t mediaTimescale = 0;  ///< media units in a second, greater than 0
  std::uint32_t movieTimescale = 0;  ///< movie units in a second, greater than 0
};

/// Reads the edit list of the first audio track.
///
/// @return nothing when the file is no MP4, is damaged, or the list is not one plain stretch
/// @see ISO/IEC 14496-12, 8.6.6 Edit List Box
[[nodiscard]] std::optional<Mp4Edit> readMp4Edit(const RegularFile& file);

}  // namespace brindlevane
