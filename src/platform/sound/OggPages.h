#pragma once

#include "platform/RegularFile.h"

#include <cstdint>

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

}  // namespace brindlevane
