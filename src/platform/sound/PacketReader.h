#pragma once

#include "platform/sound/ByteSource.h"
#include "platform/sound/FfmpegHandles.h"

#include <cstdint>
#include <string_view>

namespace brindlevane {

/// The packets of the first stream of sound in a file, in order.
class PacketReader {
 public:
  /// Opens a file.
  ///
  /// @param file         outlives the reader
  /// @param ownsEditing  whether the caller applies the edit list instead of FFmpeg
  /// @throws std::runtime_error  FFmpeg knows no sound in it
  PacketReader(const RegularFile& file, bool ownsEditing);

  /// Fetches the next packet; false at the end or where reading fails.
  [[nodiscard]] bool take();

  /// Goes to the last packet that begins at a time stamp or before.
  [[nodiscard]] bool seek(std::int64_t time);

  /// The current packet.
  [[nodiscard]] AVPacket& packet() const { return *packet_; }

  /// Whether no damage was passed over before the current packet.
  [[nodiscard]] bool followsOn() const { return followsOn_; }

  /// Whether take() failed because the file is at its end.
  [[nodiscard]] bool hasReachedEnd() const;

  [[nodiscard]] const AVStream& stream() const;

  /// FFmpeg's name of the container.
  [[nodiscard]] std::string_view format() const { return demuxer_->iformat->name; }
  [[nodiscard]] bool isMp4() const { return format().starts_with("mov,"); }

  /// The value of a tag, or null.
  [[nodiscard]] const char* tag(const char* name) const;

 private:
  bool openDemuxer(bool ownsEditing);
  [[nodiscard]] bool holds(std::int64_t offset, std::string_view bytes) const;
  bool checkFollowing();

  const RegularFile& file_;
  ByteSource bytes_;
  Avio avio_;
  Demuxer demuxer_;
  Packet packet_;
  int streamIndex_ = -1;
  int readResult_ = 0;
  bool followsOn_ = true;
  std::int64_t nextByte_ = -1;  // where the next packet begins, of ADTS
  std::int64_t nextTime_ = -1;  // the same, of FLAC in Ogg
};

}  // namespace brindlevane
