#include "platform/MpegHeader.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace brindlevane {
namespace {

// The bytes in front of the first frame of sound: an ID3v2 tag with its header, or nothing.
off_t soundStart(int descriptor) {
  constexpr off_t kHeaderBytes = 10;
  std::array<unsigned char, kHeaderBytes> tag = {};
  if (::pread(descriptor, tag.data(), tag.size(), 0) != kHeaderBytes || tag[0] != 'I' ||
      tag[1] != 'D' || tag[2] != '3') {
    return 0;
  }
  // Four bytes of seven bits each.
  off_t size = 0;
  for (std::size_t i = 6; i < tag.size(); ++i) {
    size = size << 7 | (tag[i] & 0x7f);
  }
  return kHeaderBytes + size;
}

}  // namespace

bool mpegFramesAreCounted(int descriptor) {
  // The mark follows the side information of the first frame, at most 36 bytes into it, or VBRI
  // always there; padding of the tag may come first.
  std::array<char, 4096> bytes = {};
  const ssize_t got = ::pread(descriptor, bytes.data(), bytes.size(), soundStart(descriptor));
  const std::string_view text(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  constexpr std::array<std::string_view, 3> kMarks = {"Xing", "Info", "VBRI"};
  return std::any_of(kMarks.begin(), kMarks.end(), [text](std::string_view mark) {
    return text.find(mark) != std::string_view::npos;
  });
}

}  // namespace brindlevane
