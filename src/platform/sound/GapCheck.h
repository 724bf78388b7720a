#pragma once

#include "platform/RegularFile.h"

#include <cstdint>

namespace brindlevane {

/// Follows a file that is a chain of pieces, Ogg pages or MPEG frames, and finds where it is
/// broken.
///
/// Decoder libraries pass over lost pieces in silence, and whatever follows comes too early then.
class GapCheck {
 public:
  /// @return the bytes of the piece at an offset, or 0 when none begins there
  using PieceLength = std::int64_t (*)(const RegularFile& file, std::int64_t offset,
                                       std::int64_t end);

  /// @param begin  where the first piece begins
  /// @param end    where the file ends, perhaps within a piece
  GapCheck(const RegularFile& file, PieceLength pieceLength, std::int64_t begin, std::int64_t end);

  /// Whether the chain holds up to an offset. Offsets only grow.
  [[nodiscard]] bool holdsUpTo(std::int64_t offset);

 private:
  const RegularFile& file_;
  PieceLength pieceLength_;
  std::int64_t checked_;
  std::int64_t end_;
};

}  // namespace brindlevane
