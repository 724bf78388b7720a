#include "platform/LineReader.h"

#include "platform/Descriptor.h"

#include <new>

namespace brindlevane {
namespace {

/// Appends the piece, at the second attempt if need be.
/// @return whether there was room for it; if not, the line is as it was
bool append(std::string& line, std::string_view piece) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      line += piece;
      return true;
    } catch (const std::bad_alloc&) {
      // Memory may come back: other threads and processes free theirs.
    }
  }
  return false;
}

}  // namespace

std::optional<std::string> LineReader::next() {
  if (rest().empty()) {
    return std::nullopt;
  }
  std::string line;
  bool ended = false;
  bool fits = true;
  while (!ended && !rest().empty()) {
    const std::size_t feed = rest().find('\n');
    const std::string_view piece = rest().substr(0, feed);
    ended = feed != std::string_view::npos;
    taken_ += piece.size() + (ended ? 1 : 0);
    // One byte more than the limit, which may be the carriage return.
    fits = fits && line.size() + piece.size() <= kLongestLine + 1 && append(line, piece);
    if (!fits) {
      line = std::string();
    }
  }
  if (ended && line.ends_with('\r')) {
    line.pop_back();
  }
  if (line.size() > kLongestLine) {
    line.clear();
  }
  return line;
}

std::string_view LineReader::rest() {
  if (taken_ == filled_) {
    taken_ = 0;
    filled_ = readSome(descriptor_, block_);
  }
  return std::string_view(block_.data(), filled_).substr(taken_);
}

}  // namespace brindlevane
