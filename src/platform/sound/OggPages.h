#pragma once

#include "platform/RegularFile.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace brindlevane {

/// The bytes of the Ogg page that begins at an offset: at most 65,307.
///
/// @return 0 unless a whole page with a true checksum lies there, before `end`
[[nodiscard]] std::int64_t oggPageLength(const RegularFile& file, std::int64_t offset,
                                         std::int64_t end);

/// Where the first whole page at or behind an offset begins.
///
/// @return `end` when there is none before it
[[nodiscard]] std::int64_t nextOggPage(const RegularFile& file, std::int64_t offset,
                                       std::int64_t end);

/// Where the last whole page of a file ends: before a page that was torn off and before tags of
/// other formats.
///
/// @return `end` when there is no page in the last mebibyte before it
[[nodiscard]] std::int64_t lastOggPageEnd(const RegularFile& file, std::int64_t end);

/// Where the first page with sound begins in an Ogg file with one stream.
///
/// @param packets  how many packets the header has: Vorbis 3, Opus 2
/// @return 0 when no such header is there
[[nodiscard]] std::int64_t oggHeaderEnd(const RegularFile& file, int packets);

/// A page of an Ogg file, and the frame of sound that comes first when decoding starts there.
struct OggPlace {
  std::int64_t offset = 0;
  std::int64_t frame = 0;
};

/// Searches for a page to start decoding from.
///
/// @param first         the first page with sound
/// @param end           the end of the file
/// @param goal          the frame to start at or before
/// @param near          how many frames before the goal will do
/// @param firstFrameAt  tells which frame comes first from a page on; nothing when it cannot
/// @return a place at or before the goal, near it where halving the file 20 times is enough
[[nodiscard]] OggPlace oggPlaceBefore(
    const RegularFile& file, OggPlace first, std::int64_t end, std::int64_t goal, std::int64_t near,
    const std::function<std::optional<std::int64_t>(std::int64_t page)>& firstFrameAt);

}  // namespace brindlevane
