#pragma once

#include "platform/sound/FfmpegHandles.h"

#include <cstdint>
#include <optional>

namespace brindlevane {

/// Tells how many frames the packets of one stream decode to, without decoding them.
///
/// This is what makes it exact to pass over packets, and to count them.
class PacketFrames {
 public:
  /// Of packets that do not tell it.
  PacketFrames() = default;

  /// @param packet  the first packet that was decoded
  /// @param frame   what it gave, untrimmed
  PacketFrames(const AVStream& stream, const AVPacket& packet, const AVFrame& frame);

  /// Whether the packets tell it at all.
  [[nodiscard]] bool areKnown() const { return kind_ != Kind::unknown; }

  /// @return nothing for a packet that is damaged
  [[nodiscard]] std::optional<std::int64_t> of(const AVPacket& packet) const;

  /// Whether a frame can only be the last, for all others are longer.
  [[nodiscard]] bool isLast(const AVFrame& frame) const {
    return kind_ == Kind::fixed && frame.nb_samples != unit_;
  }

 private:
  enum class Kind { unknown, fixed, bytes, timed, opus };

  Kind kind_ = Kind::unknown;
  AVCodecID codec_ = AV_CODEC_ID_NONE;
  std::int64_t unit_ = 0;  // fixed: frames in each packet; bytes: bytes in each frame
};

/// Whether each packet of a codec decodes to the same samples wherever decoding starts.
[[nodiscard]] bool packetsAreIndependent(AVCodecID codec);

/// Whether the time stamps of a stream count frames at a rate, without a remainder.
[[nodiscard]] bool clockCountsFrames(AVRational clock, int rate);

}  // namespace brindlevane
