#include "platform/FrameStream.h"

#include <algorithm>
#include <array>
#include <deque>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace brindlevane {
namespace {

// Formats of one file with sound in it: none that would open another file or an address.
constexpr const char* kFormats =
    "aac,ac3,aiff,ape,asf,caf,dsf,dts,eac3,flac,loas,matroska,mov,mp3,mpc,mpc8,mpegts,ogg,tak,tta,"
    "w64,wav,wv,xwma";
// Packets that are decoded to see what the end of a file holds: a few more than a decoder may need
// to begin with, and than a tag behind the sound may be taken for.
constexpr std::size_t kLastPackets = 16;

// Streams without a container may have been cut out of something longer.
bool mayBeginAnywhere(std::string_view format) {
  constexpr std::array<std::string_view, 7> kBare = {"aac", "ac3",  "dts",   "eac3",
                                                     "mp3", "loas", "mpegts"};
  return std::find(kBare.begin(), kBare.end(), format) != kBare.end();
}

// Where the place of each frame in the file is a matter of arithmetic.
bool isPlainPcm(std::string_view format, AVCodecID codec) {
  constexpr std::array<std::string_view, 4> kPlain = {"aiff", "caf", "w64", "wav"};
  return av_get_exact_bits_per_sample(codec) >= 8 &&
         std::find(kPlain.begin(), kPlain.end(), format) != kPlain.end();
}

}  // namespace

FrameStream::FrameStream(int descriptor)
    : source_(descriptor), packet_(av_packet_alloc()), frame_(av_frame_alloc()) {}

std::unique_ptr<FrameStream> FrameStream::open(int descriptor, bool ownsEditing) {
  auto stream = std::unique_ptr<FrameStream>(new FrameStream(descriptor));
  return stream->openDemuxer(ownsEditing) && stream->openCodec() && stream->decodeFirst()
             ? std::move(stream)
             : nullptr;
}

const AVStream& FrameStream::stream() const {
  return *demuxer_->streams[static_cast<unsigned>(streamIndex_)];
}

bool FrameStream::isMp4() const {
  return std::string_view(demuxer_->iformat->name).starts_with("mov,");
}

const char* FrameStream::tag(const char* name) const {
  const AVDictionaryEntry* const entry =
      av_dict_get(demuxer_->metadata, name, nullptr, AV_DICT_MATCH_CASE);
  return entry == nullptr ? nullptr : entry->value;
}

bool FrameStream::needsRunUp() const {
  return !packetsAreIndependent(codec_->codec_id);
}

bool FrameStream::openDemuxer(bool ownsEditing) {
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr || source_.context() == nullptr || !packet_ || !frame_) {
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
  trimsItself_ = isMp4() && !ownsEditing;
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

bool FrameStream::openCodec() {
  const AVCodecParameters* const parameters = stream().codecpar;
  const AVCodec* const decoder = avcodec_find_decoder(parameters->codec_id);
  codec_.reset(decoder == nullptr ? nullptr : avcodec_alloc_context3(decoder));
  if (!codec_ || avcodec_parameters_to_context(codec_.get(), parameters) < 0) {
    return false;
  }
  codec_->pkt_timebase = stream().time_base;
  codec_->thread_count = 1;
  if (!trimsItself_) {
    codec_->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
  }
  if (packetsAreIndependent(codec_->codec_id)) {
    codec_->err_recognition |= AV_EF_CRCCHECK | AV_EF_EXPLODE;
  }
  return avcodec_open2(codec_.get(), decoder, nullptr) == 0;
}

bool FrameStream::decodeFirst() {
  const bool passesOver = mayBeginAnywhere(demuxer_->iformat->name);
  Step step = next();
  while (step == Step::failed && passesOver && !isDrained_) {
    step = next();
  }
  if (step != Step::decoded) {
    return false;
  }
  rate_ = frame_->sample_rate;
  firstTime_ = frame_->pts;
  if (const AVFrameSideData* const trim =
          av_frame_get_side_data(frame_.get(), AV_FRAME_DATA_SKIP_SAMPLES);
      trim != nullptr) {
    priming_ = AV_RL32(trim->data);
  }
  packetFrames_.emplace(stream(), *packet_, *frame_);
  nextPacketAt_ = packetFrames_->of(*packet_).value_or(frame_->nb_samples);
  findsByTime_ = !trimsItself_ && hasExactTimes();
  return true;
}

// Whether the container leads from a time stamp to its packet, both exact to the frame.
bool FrameStream::hasExactTimes() const {
  const AVStream& sound = stream();
  const bool isComplete =
      isMp4() ? sound.nb_frames > 0 : isPlainPcm(demuxer_->iformat->name, codec_->codec_id);
  return isComplete && firstTime_ != AV_NOPTS_VALUE && sound.duration > 0 &&
         clockCountsFrames(sound.time_base, rate_);
}

bool FrameStream::canJump() const {
  return findsByTime_ || (packetFrames_->areKnown() && !trimsItself_);
}

FrameStream::Step FrameStream::next() {
  const std::int64_t inEach = packetFrames_ ? packetFrames_->inEach() : 0;
  const bool wasLast = frame_->nb_samples > 0 && inEach > 0 && frame_->nb_samples != inEach;
  position_ += frame_->nb_samples;
  while (true) {
    av_frame_unref(frame_.get());
    const int received = avcodec_receive_frame(codec_.get(), frame_.get());
    if (received == 0 && frame_->nb_samples > 0) {
      notePadding();
      return wasLast ? Step::failed : Step::decoded;
    }
    if (received == AVERROR_EOF) {
      return hasReachedEnd() && !isUnreadable() ? Step::ended : Step::failed;
    }
    if (received != 0 && (received != AVERROR(EAGAIN) || !feed())) {
      return Step::failed;
    }
  }
}

// What a decoder gives after its last packet has no padding of its own.
void FrameStream::notePadding() {
  if (isDrained_) {
    return;
  }
  const AVFrameSideData* const trim =
      av_frame_get_side_data(frame_.get(), AV_FRAME_DATA_SKIP_SAMPLES);
  const std::int64_t padding = trim == nullptr ? 0 : AV_RL32(trim->data + 4);
  padding_ = padding > 0 && padding <= frame_->nb_samples ? padding_ + padding : 0;
}

// Fetches the next packet of the sound.
bool FrameStream::takePacket() {
  if (std::exchange(holdsPacket_, false)) {
    return true;
  }
  av_packet_unref(packet_.get());
  while ((readResult_ = av_read_frame(demuxer_.get(), packet_.get())) >= 0) {
    if (packet_->stream_index == streamIndex_) {
      followsOn_ = checkFollowing();
      return true;
    }
    av_packet_unref(packet_.get());
  }
  return false;
}

// FFmpeg passes over damage in an ADTS stream, and nothing tells but the bytes that should have
// been there. A tag between two packets is no damage.
bool FrameStream::checkFollowing() {
  if (std::string_view(demuxer_->iformat->name) != "aac") {
    return true;
  }
  constexpr std::size_t kHeaderBytes = 9;
  const auto size = static_cast<std::size_t>(packet_->size);
  const std::string_view header(reinterpret_cast<const char*>(packet_->data),
                                std::min(size, kHeaderBytes));
  if (nextByte_ >= 0 && source_.holds(nextByte_, header)) {
    nextByte_ += packet_->size;
    return true;
  }
  const bool isFirst = nextByte_ < 0;
  const bool followsTag = !isFirst && source_.holds(nextByte_, "ID3");
  nextByte_ = isFirst ? packet_->pos + packet_->size : -1;
  return isFirst || followsTag;
}

// Hands the decoder one packet, or the news that there is none left; false when it is damaged.
bool FrameStream::feed() {
  if (!takePacket()) {
    isDrained_ = true;
    return avcodec_send_packet(codec_.get(), nullptr) == 0;
  }
  if (packetFrames_) {
    nextPacketAt_ += packetFrames_->of(*packet_).value_or(0);
  }
  return followsOn_ && isSound(*packet_) && avcodec_send_packet(codec_.get(), packet_.get()) == 0;
}

bool FrameStream::isSound(const AVPacket& packet) const {
  const bool isCut = (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
  return !(isCut && av_get_exact_bits_per_sample(codec_->codec_id) == 0) &&
         (!packetFrames_ || !packetFrames_->areKnown() || packetFrames_->of(packet));
}

// Some demuxers complain of a last packet that was cut short.
bool FrameStream::hasReachedEnd() const {
  return readResult_ == AVERROR_EOF || avio_feof(demuxer_->pb) != 0;
}

bool FrameStream::isUnreadable() const {
  const int error = demuxer_->pb->error;
  return error < 0 && error != AVERROR_EOF;
}

// Forgets what was decoded; the next packet is as good as the first.
void FrameStream::restartDecoder(std::int64_t position) {
  avcodec_flush_buffers(codec_.get());
  av_frame_unref(frame_.get());
  isDrained_ = false;
  position_ = position;
  nextPacketAt_ = position;
}

bool FrameStream::jump(std::int64_t position) {
  return findsByTime_ ? jumpByTime(position) : passPackets(position);
}

bool FrameStream::jumpByTime(std::int64_t position) {
  AVStream* const sound = demuxer_->streams[static_cast<unsigned>(streamIndex_)];
  const AVRational frames = {1, rate_};
  const std::int64_t goal = firstTime_ + av_rescale_q(position, frames, sound->time_base);
  if (av_seek_frame(demuxer_.get(), streamIndex_, goal, AVSEEK_FLAG_BACKWARD) < 0) {
    return false;
  }
  restartDecoder(0);
  if (next() != Step::decoded || frame_->pts == AV_NOPTS_VALUE) {
    return false;
  }
  position_ = av_rescale_q(frame_->pts - firstTime_, sound->time_base, frames);
  return position_ <= position;
}

bool FrameStream::passPackets(std::int64_t position) {
  if (position < nextPacketAt_) {
    return true;
  }
  restartDecoder(nextPacketAt_);
  while (takePacket()) {
    const std::optional<std::int64_t> frames = packetFrames_->of(*packet_);
    if (!frames || !followsOn_ || !isSound(*packet_)) {
      return false;
    }
    if (nextPacketAt_ + *frames > position) {
      holdsPacket_ = true;
      position_ = nextPacketAt_;
      return next() == Step::decoded;
    }
    nextPacketAt_ += *frames;
  }
  return false;
}

bool FrameStream::rewind() {
  return findsByTime_ && openCodec() && jumpByTime(0);
}

// The header of a fragmented MP4 file tells of the first fragment alone.
std::optional<std::int64_t> FrameStream::declaredEnd() const {
  const AVRational clock = stream().time_base;
  const bool isComplete = !isMp4() || stream().nb_frames > 0;
  const bool isExact = isComplete && clockCountsFrames(clock, rate_) && stream().duration > 0;
  return isExact ? std::optional(av_rescale_q(stream().duration, clock, {1, rate_})) : std::nullopt;
}

std::optional<std::int64_t> FrameStream::findEnd() {
  const std::int64_t declared = declaredEnd().value_or(0);
  // The last second is there, so is what lies before it; else the file was cut short.
  const bool isWhole = findsByTime_ && jumpByTime(std::max<std::int64_t>(declared - rate_, 0));
  if (findsByTime_ && !isWhole && !rewind()) {
    return std::nullopt;
  }
  const bool counts = !isWhole && !trimsItself_ && packetFrames_->areKnown();
  const std::int64_t end = counts ? countPackets() : decodeToEnd();
  if (isUnreadable()) {
    return std::nullopt;
  }
  // A container that is damaged somewhere has more to come.
  return hasReachedEnd() ? end : std::max(end, declared);
}

std::int64_t FrameStream::decodeToEnd() {
  Step step = Step::decoded;
  while (step == Step::decoded || (step == Step::failed && !isDrained_)) {
    step = next();
  }
  return position_;
}

// Counts the packets, and decodes the last of them: they may be cut short, or no sound at all.
std::int64_t FrameStream::countPackets() {
  restartDecoder(nextPacketAt_);
  std::deque<Packet> last;
  while (takePacket()) {
    last.emplace_back(av_packet_alloc());
    if (!last.back()) {
      break;
    }
    av_packet_move_ref(last.back().get(), packet_.get());
    if (last.size() > kLastPackets) {
      nextPacketAt_ += packetFrames_->of(*last.front()).value_or(0);
      last.pop_front();
    }
  }
  position_ = nextPacketAt_;
  for (const Packet& packet : last) {
    if (isSound(*packet) && avcodec_send_packet(codec_.get(), packet.get()) == 0) {
      receiveAll();
    }
  }
  isDrained_ = true;
  if (avcodec_send_packet(codec_.get(), nullptr) == 0) {
    receiveAll();
  }
  return position_;
}

void FrameStream::receiveAll() {
  while (avcodec_receive_frame(codec_.get(), frame_.get()) == 0) {
    notePadding();
    position_ += frame_->nb_samples;
  }
  av_frame_unref(frame_.get());
}

}  // namespace brindlevane
