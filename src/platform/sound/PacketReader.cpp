#include "platform/sound/PacketReader.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace brindlevane {
namespace {

// Formats of one file with sound in it: none that would open another file or an address.
constexpr const char* kFormats =
    "aac,ac3,aiff,ape,asf,caf,dsf,dts,eac3,flac,loas,matroska,mov,mp3,mpc,mpc8,mpegts,ogg,tak,tta,"
    "w64,wav,wv,xwma";
constexpr int kBufferBytes = 32768;

int readBytes(void* bytes, std::uint8_t* buffer, int count) {
  const std::int64_t got = static_cast<ByteSource*>(bytes)->read(buffer, count);
  return got > 0 ? static_cast<int>(got) : got == 0 ? AVERROR_EOF : AVERROR(EIO);
}

std::int64_t seekByte(void* bytes, std::int64_t offset, int whence) {
  auto* const source = static_cast<ByteSource*>(bytes);
  const int from = whence & ~AVSEEK_FORCE;
  return from == AVSEEK_SIZE ? source->size() : source->seek(offset, from);
}

}  // namespace

PacketReader::PacketReader(const RegularFile& file, bool ownsEditing)
    : file_(file), bytes_(file), packet_(av_packet_alloc()) {
  auto* const buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
  avio_.reset(avio_alloc_context(buffer, kBufferBytes, 0, &bytes_, &readBytes, nullptr, &seekByte));
  if (!avio_) {
    av_free(buffer);
  }
  if (!openDemuxer(ownsEditing)) {
    throw std::runtime_error("no sound in it");
  }
}

bool PacketReader::openDemuxer(bool ownsEditing) {
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr || !avio_ || !packet_) {
    avformat_free_context(context);
    return false;
  }
  context->pb = avio_.get();
  AVDictionary* options = nullptr;
  av_dict_set(&options, "format_whitelist", kFormats, 0);
  av_dict_set(&options, "protocol_whitelist", "none", 0);
  av_dict_set(&options, "ignore_editlist", ownsEditing ? "1" : "0", 0);
  const int opened = avformat_open_input(&context, "", nullptr, &options);
  av_dict_free(&options);
  if (opened < 0) {
    return false;  // The context is gone already.
  }
  demuxer_.reset(context);
  if (avformat_find_stream_info(context, nullptr) < 0) {
    return false;
  }
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    const bool isSound = context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    if (isSound && streamIndex_ < 0) {
      streamIndex_ = static_cast<int>(i);
    } else {
      context->streams[i]->discard = AVDISCARD_ALL;
    }
  }
  return streamIndex_ >= 0;
}

const AVStream& PacketReader::stream() const {
  return *demuxer_->streams[static_cast<unsigned>(streamIndex_)];
}

const char* PacketReader::tag(const char* name) const {
  const AVDictionaryEntry* const entry =
      av_dict_get(demuxer_->metadata, name, nullptr, AV_DICT_MATCH_CASE);
  return entry == nullptr ? nullptr : entry->value;
}

bool PacketReader::take() {
  bytes_.beginStep();
  do {
    av_packet_unref(packet_.get());
    readResult_ = av_read_frame(demuxer_.get(), packet_.get());
    if (readResult_ < 0) {
      return false;
    }
  } while (packet_->stream_index != streamIndex_);
  followsOn_ = checkFollowing();
  return true;
}

// Whether the file has these bytes at a place.
bool PacketReader::holds(std::int64_t offset, std::string_view bytes) const {
  std::string found(bytes.size(), '\0');
  return file_.read(found.data(), std::ssize(found), offset) == std::ssize(found) && found == bytes;
}

// FFmpeg passes over lost pages of Ogg, and nothing tells but the time stamps, which count frames
// of FLAC; and over damage in an ADTS stream, where nothing tells but the bytes that should have
// been there. A tag between two packets is no damage; what follows it lies nobody knows where, and
// passes.
bool PacketReader::checkFollowing() {
  if (format() == "ogg" && stream().codecpar->codec_id == AV_CODEC_ID_FLAC) {
    const std::int64_t due =
        std::exchange(nextTime_, av_sat_add64(packet_->pts, packet_->duration));
    return due < 0 || packet_->pts == due;
  }
  if (format() != "aac") {
    return true;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(packet_->data),
                               static_cast<std::size_t>(packet_->size));
  const bool isFirst = nextByte_ < 0;
  if (isFirst || holds(nextByte_, bytes)) {
    nextByte_ = (isFirst ? packet_->pos : nextByte_) + packet_->size;
    return true;
  }
  return holds(nextByte_, "ID3");
}

bool PacketReader::seek(std::int64_t time) {
  bytes_.beginStep();
  return av_seek_frame(demuxer_.get(), streamIndex_, time, AVSEEK_FLAG_BACKWARD) >= 0;
}

// Some demuxers complain of a last packet that was cut short.
bool PacketReader::hasReachedEnd() const {
  return readResult_ == AVERROR_EOF || avio_feof(demuxer_->pb) != 0;
}

}  // namespace brindlevane
