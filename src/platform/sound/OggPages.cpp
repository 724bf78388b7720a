#include "platform/sound/OggPages.h"

#include <boost/crc.hpp>

#include <algorithm>
#include <limits>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

constexpr std::size_t kHeaderBytes = 27;
constexpr std::int64_t kMostPageBytes = kHeaderBytes + 255 + 255 * 255;
constexpr std::int64_t kMostTail = std::int64_t{1} << 20U;
constexpr std::string_view kMark = "OggS";

using Bytes = std::vector<unsigned char>;

// The bytes from an offset on, as many of them as there are up to `end`.
Bytes bytesAt(const RegularFile& file, std::int64_t offset, std::int64_t end, std::int64_t most) {
  Bytes bytes(static_cast<std::size_t>(std::clamp<std::int64_t>(end - offset, 0, most)));
  const std::int64_t got = file.read(bytes.data(), static_cast<std::int64_t>(bytes.size()), offset);
  bytes.resize(static_cast<std::size_t>(std::max<std::int64_t>(got, 0)));
  return bytes;
}

std::string_view textOf(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The whole page at an offset, or nothing.
Bytes pageAt(const RegularFile& file, std::int64_t offset, std::int64_t end) {
  constexpr std::size_t kSumAt = 22;
  Bytes bytes = bytesAt(file, offset, end, kMostPageBytes);
  if (!textOf(bytes).starts_with(kMark) || bytes.size() < kHeaderBytes ||
      bytes.size() < kHeaderBytes + std::size_t{bytes[26]}) {
    return {};
  }
  const auto segments = bytes.begin() + kHeaderBytes;
  const std::size_t length =
      std::accumulate(segments, segments + bytes[26], kHeaderBytes + std::size_t{bytes[26]});
  if (bytes.size() < length) {
    return {};
  }
  bytes.resize(length);
  std::uint32_t sum = 0;
  for (std::size_t i = kSumAt + 4; i > kSumAt; --i) {
    sum = sum << 8U | std::exchange(bytes[i - 1], 0);
  }
  // The checksum of a page whose field for it holds zeros.
  boost::crc_optimal<32, 0x04c11db7> checksum;
  checksum.process_bytes(bytes.data(), bytes.size());
  return checksum.checksum() == sum ? bytes : Bytes{};
}

}  // namespace

std::int64_t oggPageLength(const RegularFile& file, std::int64_t offset, std::int64_t end) {
  return static_cast<std::int64_t>(pageAt(file, offset, end).size());
}

std::int64_t nextOggPage(const RegularFile& file, std::int64_t offset, std::int64_t end) {
  // Two of the longest pages hold the mark of a whole one, save in damaged files.
  const Bytes bytes = bytesAt(file, offset, end, 2 * kMostPageBytes);
  const std::string_view text = textOf(bytes);
  for (std::size_t at = text.find(kMark); at < text.size(); at = text.find(kMark, at + 1)) {
    const std::int64_t page = offset + static_cast<std::int64_t>(at);
    if (oggPageLength(file, page, end) != 0) {
      return page;
    }
  }
  return end;
}

std::int64_t lastOggPageEnd(const RegularFile& file, std::int64_t end) {
  const std::int64_t begin = std::max<std::int64_t>(end - kMostTail, 0);
  std::int64_t last = end;
  for (std::int64_t page = nextOggPage(file, begin, end); page < end;
       page = nextOggPage(file, last, end)) {
    last = page + oggPageLength(file, page, end);
  }
  return last;
}

std::int64_t oggHeaderEnd(const RegularFile& file, int packets) {
  std::int64_t end = 0;
  while (packets > 0) {
    const Bytes page = pageAt(file, end, std::numeric_limits<std::int64_t>::max());
    if (page.empty()) {
      return 0;
    }
    // A packet ends with each segment that is shorter than 255 bytes.
    const auto segments = page.begin() + kHeaderBytes;
    packets -= static_cast<int>(std::count_if(segments, segments + page[26],
                                              [](unsigned char length) { return length < 255; }));
    end += static_cast<std::int64_t>(page.size());
  }
  return end;
}

}  // namespace brindlevane
