#include "platform/sound/MpegHeader.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace brindlevane {
namespace {

// The bytes of an ID3v2 tag, or 0 when none begins there.
std::int64_t tagLength(const RegularFile& file, std::int64_t offset) {
  constexpr std::int64_t kHeaderBytes = 10;
  constexpr unsigned kHasFooter = 0x10;
  std::array<unsigned char, kHeaderBytes> tag = {};
  if (file.read(tag.data(), kHeaderBytes, offset) != kHeaderBytes || tag[0] != 'I' ||
      tag[1] != 'D' || tag[2] != '3') {
    return 0;
  }
  // Four bytes of seven bits each.
  std::int64_t size = 0;
  for (std::size_t i = 6; i < tag.size(); ++i) {
    size = size << 7 | (tag[i] & 0x7f);
  }
  return kHeaderBytes + size + ((tag[5] & kHasFooter) != 0 ? kHeaderBytes : 0);
}

// kbit/s by index, from 1 on: layers II and III of version 1, both of version 2.
constexpr int kBitRates[][14] = {{32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
                                 {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
                                 {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};
constexpr int kSampleRates[] = {44100, 48000, 32000};

}  // namespace

std::int64_t endOfTags(const RegularFile& file) {
  std::int64_t end = 0;
  while (const std::int64_t length = tagLength(file, end)) {
    end += length;
  }
  return end;
}

bool mpegFramesAreCounted(const RegularFile& file, std::int64_t begin) {
  // The mark and its flags follow the side information of the first frame, at most 36 bytes into
  // it, VBRI always there.
  std::array<char, 44> bytes = {};
  const std::int64_t got = file.read(bytes.data(), bytes.size(), begin);
  const std::string_view text(bytes.data(),
                              static_cast<std::size_t>(std::max<std::int64_t>(got, 0)));
  for (const std::string_view mark : {"Xing", "Info"}) {
    // Flags, of which the lowest says that the number of frames comes next.
    const std::size_t at = text.find(mark);
    if (at != std::string_view::npos) {
      return at + 8 <= text.size() && (text[at + 7] & 1) != 0;
    }
  }
  return text.find("VBRI") != std::string_view::npos;
}

int mpegFrameBytes(const std::uint8_t* header) {
  const unsigned version = header[1] >> 3U & 3U;  // 3: 1, 2: 2, 0: 2.5
  const unsigned layer = 4 - (header[1] >> 1U & 3U);
  const unsigned bitRate = header[2] >> 4U;
  const unsigned sampleRate = header[2] >> 2U & 3U;
  if (header[0] != 0xff || header[1] >> 5U != 7 || version == 1 || layer == 1 || layer == 4 ||
      bitRate == 0 || bitRate == 15 || sampleRate == 3) {
    return 0;
  }
  const bool isFirst = version == 3;
  const int bits = 1000 * kBitRates[isFirst ? layer - 2 : 2][bitRate - 1];
  const int hertz = kSampleRates[sampleRate] >> (isFirst ? 0 : version == 2 ? 1 : 2);
  const int padding = header[2] >> 1U & 1U;
  return (layer == 3 && !isFirst ? 72 : 144) * bits / hertz + padding;
}

std::int64_t mpegFrameLength(const RegularFile& file, std::int64_t offset) {
  std::array<std::uint8_t, 4> header = {};
  const std::int64_t got = file.read(header.data(), header.size(), offset);
  return got == std::ssize(header) ? mpegFrameBytes(header.data()) : 0;
}

}  // namespace brindlevane
