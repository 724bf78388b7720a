#include "platform/GapCheck.h"

namespace brindlevane {

GapCheck::GapCheck(int descriptor, PieceLength pieceLength, std::int64_t begin, std::int64_t end,
                   std::int64_t most)
    : descriptor_(descriptor), pieceLength_(pieceLength), checked_(begin), end_(end), left_(most) {}

bool GapCheck::holdsUpTo(std::int64_t offset) {
  // No piece tells its length in fewer bytes than these.
  constexpr std::int64_t kLeast = 4;
  while (left_ > 0 && checked_ < offset && checked_ + kLeast <= end_) {
    const std::int64_t length = pieceLength_(descriptor_, checked_, end_);
    if (length == 0) {
      return false;
    }
    checked_ += length;
    --left_;
  }
  return true;
}

}  // namespace brindlevane
