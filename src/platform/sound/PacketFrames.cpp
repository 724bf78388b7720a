#include "platform/sound/PacketFrames.h"

#include "platform/sound/MpegHeader.h"

#include <cstddef>

extern "C" {
#include <libavcodec/ac3_parser.h>
}

namespace brindlevane {
namespace {

// Each packet holds as many frames as the next, whatever its size; the last may hold fewer.
bool hasFixedFrames(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_AAC_LATM:
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_ALAC:
    case AV_CODEC_ID_DTS:
    case AV_CODEC_ID_EAC3:
      return true;
    default:
      return false;
  }
}

// FFmpeg lets zeros follow the bytes of a packet, so there is always a header to read.
bool holdsMpegFrame(const AVPacket& packet) {
  const int bytes = mpegFrameBytes(packet.data);
  return bytes != 0 && bytes <= packet.size;
}

// ETSI TS 102 366: a packet of E-AC-3 may join several frames.
bool holdsAc3Frames(const AVPacket& packet) {
  std::size_t at = 0;
  const auto end = static_cast<std::size_t>(packet.size);
  while (at < end) {
    std::uint8_t kind = 0;
    std::uint16_t bytes = 0;
    if (av_ac3_parse_header(packet.data + at, end - at, &kind, &bytes) < 0) {
      return false;
    }
    at += bytes;
  }
  return at == end;
}

// Whether a packet is what its header says: of a damaged stream without a container, what cannot be
// read comes along with the next packet or the one before, and the last may be cut short.
bool isWhole(AVCodecID codec, const AVPacket& packet) {
  switch (codec) {
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
      return holdsMpegFrame(packet);
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_EAC3:
      return holdsAc3Frames(packet);
    default:
      return true;
  }
}

// RFC 6716, 3.1: the first byte of a packet tells the length of its parts in frames at 48 kHz, and
// how many they are.
std::optional<std::int64_t> opusFrames(const AVPacket& packet) {
  if (packet.size < 1) {
    return std::nullopt;
  }
  constexpr int kSilk[] = {480, 960, 1920, 2880};
  const unsigned configuration = packet.data[0] >> 3U;
  const int part = configuration < 12   ? kSilk[configuration % 4]
                   : configuration < 16 ? 480 << (configuration % 2)
                                        : 120 << (configuration % 4);
  const unsigned code = packet.data[0] & 3U;
  if (code == 3) {
    return packet.size > 1 ? std::optional(part * (packet.data[1] & 0x3f)) : std::nullopt;
  }
  return code == 0 ? part : 2 * part;
}

}  // namespace

bool packetsAreIndependent(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_ALAC:
    case AV_CODEC_ID_FLAC:
    case AV_CODEC_ID_TAK:
    case AV_CODEC_ID_TTA:
    case AV_CODEC_ID_WAVPACK:
      return true;
    default:
      return av_get_exact_bits_per_sample(codec) > 0;
  }
}

bool clockCountsFrames(AVRational clock, int rate) {
  return static_cast<std::int64_t>(clock.num) * rate % clock.den == 0;
}

PacketFrames::PacketFrames(const AVStream& stream, const AVPacket& packet, const AVFrame& frame)
    : codec_(stream.codecpar->codec_id) {
  const int bytes = av_get_exact_bits_per_sample(codec_) / 8;
  if (hasFixedFrames(codec_)) {
    kind_ = Kind::fixed;
    unit_ = frame.nb_samples;
  } else if (bytes != 0) {
    kind_ = Kind::bytes;
    unit_ = static_cast<std::int64_t>(bytes) * frame.ch_layout.nb_channels;
  } else if (codec_ == AV_CODEC_ID_OPUS) {
    kind_ = Kind::opus;
  } else if (packetsAreIndependent(codec_) && packet.duration != 0 &&
             av_cmp_q(stream.time_base, {1, frame.sample_rate}) == 0) {
    kind_ = Kind::timed;
  }
}

std::optional<std::int64_t> PacketFrames::of(const AVPacket& packet) const {
  switch (kind_) {
    case Kind::fixed:
      return isWhole(codec_, packet) ? std::optional(unit_) : std::nullopt;
    case Kind::bytes:
      return packet.size / unit_;
    case Kind::timed:
      return packet.duration != 0 ? std::optional(packet.duration) : std::nullopt;
    case Kind::opus:
      return opusFrames(packet);
    case Kind::unknown:
      break;
  }
  return std::nullopt;
}

}  // namespace brindlevane
