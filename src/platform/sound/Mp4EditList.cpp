#include "platform/sound/Mp4EditList.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace brindlevane {
namespace {

// More boxes side by side, or more edits, than any real file has.
constexpr int kMostBoxes = 4096;
constexpr std::uint32_t kMostEdits = 64;

// The content of a box: a stretch of the file.
struct Stretch {
  std::int64_t begin = 0;
  std::int64_t end = 0;
};

struct Box {
  std::array<char, 4> type = {};
  Stretch content;
};

class Mp4Reader {
 public:
  explicit Mp4Reader(const RegularFile& file) : file_(file) {}

  [[nodiscard]] Stretch wholeFile() const { return {0, file_.size()}; }

  // An unsigned big-endian number, or nothing where it would reach beyond the stretch.
  [[nodiscard]] std::optional<std::uint64_t> number(const Stretch& in, std::int64_t offset,
                                                    std::size_t bytes) const {
    std::array<unsigned char, 8> raw = {};
    const auto length = static_cast<std::int64_t>(bytes);
    if (in.end - in.begin < offset + length ||
        file_.read(raw.data(), length, in.begin + offset) != length) {
      return std::nullopt;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value = value << 8U | raw[i];
    }
    return value;
  }

  [[nodiscard]] std::vector<Stretch> children(const Stretch& parent, std::string_view type) const {
    std::vector<Stretch> found;
    std::optional<Box> box = boxAt(parent);
    for (int count = 0; box && count < kMostBoxes; ++count) {
      if (std::equal(type.begin(), type.end(), box->type.begin(), box->type.end())) {
        found.push_back(box->content);
      }
      box = boxAt({box->content.end, parent.end});
    }
    return found;
  }

  [[nodiscard]] std::optional<Stretch> child(const Stretch& parent, std::string_view type) const {
    const std::vector<Stretch> found = children(parent, type);
    return found.empty() ? std::nullopt : std::optional(found.front());
  }

 private:
  [[nodiscard]] std::optional<Box> boxAt(const Stretch& room) const {
    const auto shortSize = number(room, 0, 4);
    const auto type = number(room, 4, 4);
    if (!shortSize || !type) {
      return std::nullopt;
    }
    // A size of 1 announces a long size, a size of 0 a box that reaches to the end.
    const bool isLong = *shortSize == 1;
    const auto longSize = isLong ? number(room, 8, 8) : shortSize;
    const std::int64_t header = isLong ? 16 : 8;
    const auto left = static_cast<std::uint64_t>(room.end - room.begin);
    if (!longSize) {
      return std::nullopt;
    }
    const std::uint64_t size = *longSize == 0 ? left : *longSize;
    if (size < static_cast<std::uint64_t>(header) || size > left) {
      return std::nullopt;
    }
    Box box;
    for (std::size_t i = 0; i < box.type.size(); ++i) {
      box.type[i] = static_cast<char>(*type >> (24 - 8 * i) & 0xffU);
    }
    box.content = {room.begin + header, room.begin + static_cast<std::int64_t>(size)};
    return box;
  }

  const RegularFile& file_;
};

// The timescale in a movie or media header; dates of version 1 take twice the room.
std::uint32_t timescale(const Mp4Reader& reader, const Stretch& header) {
  const std::int64_t offset = reader.number(header, 0, 1) == 1U ? 20 : 12;
  return static_cast<std::uint32_t>(reader.number(header, offset, 4).value_or(0));
}

bool isAudio(const Mp4Reader& reader, const Stretch& media) {
  constexpr std::uint64_t kSoundHandler = 0x736f756e;  // "soun"
  const auto handler = reader.child(media, "hdlr");
  return handler && reader.number(*handler, 8, 4) == kSoundHandler;
}

// Fills in the one stretch of media that a list presents; silence before it is passed over.
bool readPlainList(const Mp4Reader& reader, const Stretch& list, Mp4Edit& edit) {
  const bool wide = reader.number(list, 0, 1) == 1U;
  const std::size_t bytes = wide ? 8 : 4;
  const std::uint64_t emptyEdit = wide ? ~std::uint64_t{0} : ~std::uint32_t{0};
  const auto count = reader.number(list, 4, 4).value_or(0);
  int stretches = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    const auto at = static_cast<std::int64_t>(8 + i * (2 * bytes + 4));
    const auto duration = reader.number(list, at, bytes);
    const auto start = reader.number(list, at + static_cast<std::int64_t>(bytes), bytes);
    if (count > kMostEdits || !duration || !start) {
      return false;
    }
    if (*start != emptyEdit) {
      edit.mediaStart = static_cast<std::int64_t>(*start);
      edit.duration = static_cast<std::int64_t>(*duration);
      ++stretches;
    }
  }
  return stretches == 1 && edit.mediaStart >= 0 && edit.duration >= 0;
}

}  // namespace

std::optional<Mp4Edit> readMp4Edit(const RegularFile& file) {
  const Mp4Reader reader(file);
  const auto movie = reader.child(reader.wholeFile(), "moov");
  const auto movieHeader = movie ? reader.child(*movie, "mvhd") : std::nullopt;
  if (!movieHeader) {
    return std::nullopt;
  }
  for (const Stretch& track : reader.children(*movie, "trak")) {
    const auto media = reader.child(track, "mdia");
    if (!media || !isAudio(reader, *media)) {
      continue;
    }
    const auto mediaHeader = reader.child(*media, "mdhd");
    const auto edits = reader.child(track, "edts");
    const auto list = edits ? reader.child(*edits, "elst") : std::nullopt;
    if (!mediaHeader) {
      return std::nullopt;
    }
    Mp4Edit edit;
    edit.movieTimescale = timescale(reader, *movieHeader);
    edit.mediaTimescale = timescale(reader, *mediaHeader);
    const bool isPlain = !list || readPlainList(reader, *list, edit);
    const bool usable = isPlain && edit.movieTimescale > 0 && edit.mediaTimescale > 0;
    return usable ? std::optional(edit) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace brindlevane
