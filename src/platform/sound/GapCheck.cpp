#include "platform/sound/GapCheck.h"

namespace brindlevane {

GapCheck::GapCheck(const RegularFile& file, PieceLength pieceLength, std::int64_t begin,
                   std::int64_t end)
    : file_(file), pieceLength_(pieceLength), checked_(begin), end_(end) {}

bool GapCheck::holdsUpTo(std::int64_t offset) {
  // No piece tells its length in fewer bytes than these.
  constexpr std::int64_t kLeast = 4;
  while (checked_ < offset && checked_ + kLeast <= end_) {
    const std::int64_t length = pieceLength_(file_, checked_, end_);
    if (length == 0) {
      return false;
    }
    checked_ += length;
  }
  return true;
}

}  // namespace brindlevane
