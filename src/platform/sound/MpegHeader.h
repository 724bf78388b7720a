#pragma once

#include "platform/RegularFile.h"

#include <cstdint>

namespace brindlevane {

/// Where the ID3v2 tags at the start of a file end, with padding and footers; 0 without a tag.
[[nodiscard]] std::int64_t endOfTags(const RegularFile& file);

/// Whether the first frame of an MPEG audio stream tells how many follow ("Xing", "Info" or
/// "VBRI"), so that the length of the stream is known without reading it all.
///
/// @param begin  where in the file the stream begins
[[nodiscard]] bool mpegFramesAreCounted(const RegularFile& file, std::int64_t begin);

/// The bytes of an MPEG audio frame of layer II or III by the four of its header.
///
/// @return 0 when it is none, or one of the free format that does not tell its length
/// @see ISO/IEC 11172-3 and 13818-3, 2.4.2.3.
[[nodiscard]] int mpegFrameBytes(const std::uint8_t* header);

/// The same of the header that stands at an offset of a file.
[[nodiscard]] std::int64_t mpegFrameLength(const RegularFile& file, std::int64_t offset);

}  // namespace brindlevane
