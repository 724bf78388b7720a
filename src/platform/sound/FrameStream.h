#pragma once

#include "platform/sound/FfmpegHandles.h"
#include "platform/sound/PacketFrames.h"
#include "platform/sound/PacketReader.h"

#include <cstdint>
#include <optional>

namespace brindlevane {

/// One run over the sound of a file with FFmpeg: whole decoded frames, one after another.
///
/// Positions count frames of the media as it was encoded, with priming and padding.
class FrameStream {
 public:
  enum class Step {
    decoded,  ///< there is a frame
    ended,    ///< there is none left
    failed    ///< a packet is damaged, or the file cannot be read
  };

  /// Opens a file and decodes its first frame.
  ///
  /// @param file         outlives the stream
  /// @param ownsEditing  whether the caller applies the edit list instead of FFmpeg
  /// @throws std::runtime_error  there is no sound that FFmpeg decodes
  FrameStream(const RegularFile& file, bool ownsEditing);

  /// Decodes the next frame.
  [[nodiscard]] Step next();

  /// Gets near a position ahead without decoding what lies before it: the next frame decoded then
  /// begins there or before.
  ///
  /// @return false when the file does not allow it or ends before; the stream is used up then
  [[nodiscard]] bool jump(std::int64_t position);

  /// Goes to the end and tells where it is, decoding no more than it must to be sure.
  ///
  /// The stream is used up then.
  ///
  /// @return nothing when the file cannot be read
  [[nodiscard]] std::optional<std::int64_t> findEnd();

  /// Stands at the first frame again, with a decoder as good as new.
  ///
  /// @return false when the file has to be opened again for that
  [[nodiscard]] bool rewind();

  /// Frames that the container promises, where its clock counts them.
  [[nodiscard]] std::optional<std::int64_t> declaredEnd() const;

  /// The current frame.
  [[nodiscard]] const AVFrame& frame() const { return *frame_; }

  /// Where the current frame begins.
  [[nodiscard]] std::int64_t position() const { return position_; }

  /// Frames to drop at the start, as the container declares them for the decoder.
  [[nodiscard]] std::int64_t priming() const { return priming_; }

  /// Frames to drop at the end; known after findEnd().
  [[nodiscard]] std::int64_t padding() const { return padding_; }

  /// Whether jump() can work at all.
  [[nodiscard]] bool canJump() const { return findsByTime_ || packetFrames_.areKnown(); }

  /// Whether what is decoded after a jump depends on what lies before it.
  [[nodiscard]] bool needsRunUp() const { return !packetsAreIndependent(codec_->codec_id); }

  [[nodiscard]] const PacketReader& packets() const { return packets_; }

 private:
  bool openCodec();
  bool decodeFirst();
  void notePadding();
  bool feed();
  [[nodiscard]] bool isSound(const AVPacket& packet) const;
  void restartDecoder(std::int64_t position);
  bool jumpByTime(std::int64_t position);
  bool passPackets(std::int64_t position);
  std::int64_t decodeToEnd();
  std::int64_t countPackets();
  void pass(const AVPacket* packet);

  PacketReader packets_;
  Codec codec_;
  Frame frame_;
  PacketFrames packetFrames_;  // of untrimmed sound
  bool trimsItself_;           // FFmpeg applies an edit list of several stretches
  bool findsByTime_ = false;
  int rate_ = 0;
  std::int64_t position_ = 0;
  std::int64_t nextPacketAt_ = 0;  // where the packets begin that were not yet sent
  std::int64_t priming_ = 0;
  std::int64_t padding_ = 0;
  bool isDrained_ = false;
};

}  // namespace brindlevane
