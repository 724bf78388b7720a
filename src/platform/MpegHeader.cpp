#include "platform/MpegHeader.h"

#include "platform/ByteSource.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace brindlevane {
namespace {

std::int64_t bigEndian(std::string_view bytes) {
  std::int64_t value = 0;
  for (const char byte : bytes) {
    value = value << 8 | static_cast<unsigned char>(byte);
  }
  return value;
}

// The bytes of an ID3v2 tag, or 0 when none begins there.
std::int64_t tagLength(int descriptor, std::int64_t offset) {
  constexpr std::int64_t kHeaderBytes = 10;
  constexpr unsigned kHasFooter = 0x10;
  std::array<unsigned char, kHeaderBytes> tag = {};
  if (readAt(descriptor, tag.data(), kHeaderBytes, offset) != kHeaderBytes || tag[0] != 'I' ||
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

// kbit/s by index, from 1 on: layers I, II and III of version 1, layer I and the others of
// version 2.
constexpr int kBitRates[5][14] = {
    {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};
constexpr int kSampleRates[3] = {44100, 48000, 32000};

}  // namespace

std::int64_t endOfTags(int descriptor) {
  std::int64_t end = 0;
  while (const std::int64_t length = tagLength(descriptor, end)) {
    end += length;
  }
  return end;
}

bool mpegFramesAreCounted(int descriptor, std::int64_t begin) {
  // The mark follows the side information of the first frame, at most 36 bytes into it, or VBRI
  // always there.
  std::array<char, 64> bytes = {};
  const std::int64_t got = readAt(descriptor, bytes.data(), bytes.size(), begin);
  const std::string_view text(bytes.data(),
                              static_cast<std::size_t>(std::max<std::int64_t>(got, 0)));
  for (const std::string_view mark : {"Xing", "Info"}) {
    // Flags, of which the lowest says that the number of frames comes next.
    const std::size_t at = text.find(mark);
    if (at < text.size()) {
      return at + 8 <= text.size() && (text[at + 7] & 1) != 0;
    }
  }
  return text.find("VBRI") < text.size();
}

std::int64_t mpegFrameLength(int descriptor, std::int64_t offset, std::int64_t end) {
  std::array<char, 4> bytes = {};
  if (offset + 4 > end || readAt(descriptor, bytes.data(), bytes.size(), offset) != 4) {
    return 0;
  }
  const auto header = static_cast<std::uint32_t>(bigEndian({bytes.data(), bytes.size()}));
  const std::uint32_t version = header >> 19U & 3U;  // 3: 1, 2: 2, 0: 2.5
  const std::uint32_t layer = 4 - (header >> 17U & 3U);
  const std::uint32_t bitRate = header >> 12U & 15U;
  const std::uint32_t sampleRate = header >> 10U & 3U;
  if (header >> 21U != 0x7ff || version == 1 || layer == 4 || bitRate == 0 || bitRate == 15 ||
      sampleRate == 3) {
    return 0;
  }
  const bool isFirst = version == 3;
  const int bits = 1000 * kBitRates[isFirst ? layer - 1 : layer == 1 ? 3 : 4][bitRate - 1];
  const int hertz = kSampleRates[sampleRate] >> (isFirst ? 0 : version == 2 ? 1 : 2);
  const int padding = static_cast<int>(header >> 9U & 1U);
  if (layer == 1) {
    return 4 * (12 * bits / hertz + padding);
  }
  return (layer == 3 && !isFirst ? 72 : 144) * bits / hertz + padding;
}

}  // namespace brindlevane
