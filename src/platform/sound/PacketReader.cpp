#include "platform/sound/PacketReader.h"

#include <utility>

namespace brindlevane {
namespace {

// Formats of one file with sound in it: none that would open another file or an address.
constexpr const char* kFormats =
    "aac,ac3,aiff,ape,asf,caf,dsf,dts,eac3,flac,loas,matroska,mov,mp3,mpc,mpc8,mpegts,ogg,tak,tta,"
    "w64,wav,wv,xwma";

}  // namespace

PacketReader::PacketReader(const RegularFile& file) : source_(file), packet_(av_packet_alloc()) {}

std::unique_ptr<PacketReader> PacketReader::open(const RegularFile& file, bool ownsEditing) {
  auto reader = std::unique_ptr<PacketReader>(new PacketReader(file));
  return reader->openDemuxer(ownsEditing) ? std::move(reader) : nullptr;
}

bool PacketReader::openDemuxer(bool ownsEditing) {
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr || source_.context() == nullptr || !packet_) {
    avformat_free_context(context);
    return false;
  }
  context->pb = source_.context();
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
  if (std::exchange(isHeldBack_, false)) {
    return true;
  }
  source_.beginStep();
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
  if (isFirst || source_.holds(nextByte_, bytes)) {
    nextByte_ = (isFirst ? packet_->pos : nextByte_) + packet_->size;
    return true;
  }
  return source_.holds(nextByte_, "ID3");
}

bool PacketReader::seek(std::int64_t time) {
  source_.beginStep();
  return av_seek_frame(demuxer_.get(), streamIndex_, time, AVSEEK_FLAG_BACKWARD) >= 0;
}

// Some demuxers complain of a last packet that was cut short.
bool PacketReader::hasReachedEnd() const {
  return readResult_ == AVERROR_EOF || avio_feof(demuxer_->pb) != 0;
}

}  // namespace brindlevane
