#include "platform/sound/Mp4EditList.h"

#include <string>
#include <string_view>
#include <vector>

namespace brindlevane {
namespace {

// More boxes side by side, or more edits, than any real file has.
constexpr int kMostBoxes = 4096;
constexpr std::uint32_t kMostEdits = 64;

// The content of a box: a stretch of the file; of one that is not there, empty and at 0.
struct Stretch {
  std::int64_t begin = 0;
  std::int64_t end = 0;
};

struct Box {
  std::uint64_t type = 0;
  Stretch content;
};

// An unsigned big-endian number.
std::uint64_t numberOf(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) {
    value = value << 8U | static_cast<unsigned char>(byte);
  }
  return value;
}

class Mp4Reader {
 public:
  explicit Mp4Reader(const RegularFile& file) : file_(file) {}

  // A number, or nothing where it would reach beyond the stretch.
  [[nodiscard]] std::optional<std::uint64_t> number(const Stretch& in, std::int64_t offset,
                                                    std::size_t bytes) const {
    std::string raw(bytes, '\0');
    const auto length = static_cast<std::int64_t>(bytes);
    if (in.end - in.begin < offset + length ||
        file_.read(raw.data(), length, in.begin + offset) != length) {
      return std::nullopt;
    }
    return numberOf(raw);
  }

  [[nodiscard]] std::vector<Stretch> children(const Stretch& parent, std::string_view type) const {
    std::vector<Stretch> found;
    std::optional<Box> box = boxAt(parent);
    for (int count = 0; box && count < kMostBoxes; ++count) {
      if (box->type == numberOf(type)) {
        found.push_back(box->content);
      }
      box = boxAt({box->content.end, parent.end});
    }
    return found;
  }

  [[nodiscard]] Stretch child(const Stretch& parent, std::string_view type) const {
    const std::vector<Stretch> found = children(parent, type);
    return found.empty() ? Stretch() : found.front();
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
    return Box{*type, {room.begin + header, room.begin + static_cast<std::int64_t>(size)}};
  }

  const RegularFile& file_;
};

// The timescale in a movie or media header; dates of version 1 take twice the room.
std::uint32_t timescale(const Mp4Reader& reader, const Stretch& header) {
  const std::int64_t offset = reader.number(header, 0, 1) == 1U ? 20 : 12;
  return static_cast<std::uint32_t>(reader.number(header, offset, 4).value_or(0));
}

bool isAudio(const Mp4Reader& reader, const Stretch& media) {
  return reader.number(reader.child(media, "hdlr"), 8, 4) == numberOf("soun");
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
  const Stretch movie = reader.child({0, file.size()}, "moov");
  for (const Stretch& track : reader.children(movie, "trak")) {
    const Stretch media = reader.child(track, "mdia");
    if (!isAudio(reader, media)) {
      continue;
    }
    Mp4Edit edit;
    edit.movieTimescale = timescale(reader, reader.child(movie, "mvhd"));
    edit.mediaTimescale = timescale(reader, reader.child(media, "mdhd"));
    const Stretch list = reader.child(reader.child(track, "edts"), "elst");
    const bool isPlain = list.end == 0 || readPlainList(reader, list, edit);
    const bool usable = isPlain && edit.movieTimescale > 0 && edit.mediaTimescale > 0;
    return usable ? std::optional(edit) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace brindlevane
