#include "platform/sound/FrameStream.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace brindlevane {
namespace {

// Packets that are decoded to see what the end of a file holds: a few more than a decoder may need
// to begin with, and than a tag behind the sound may be taken for.
constexpr std::size_t kLastPackets = 16;

// Streams without a container may have been cut out of something longer.
bool mayBeginAnywhere(std::string_view format) {
  constexpr std::string_view kBare[] = {"aac", "ac3", "dts", "eac3", "mp3", "loas", "mpegts"};
  return std::find(std::begin(kBare), std::end(kBare), format) != std::end(kBare);
}

}  // namespace

FrameStream::FrameStream(const RegularFile& file, bool ownsEditing)
    : packets_(file, ownsEditing),
      frame_(av_frame_alloc()),
      trimsItself_(packets_.isMp4() && !ownsEditing) {
  if (!frame_ || !openCodec() || !decodeFirst()) {
    throw std::runtime_error("no sound that is decoded");
  }
}

bool FrameStream::openCodec() {
  const AVCodecParameters* const parameters = packets_.stream().codecpar;
  const AVCodec* const decoder = avcodec_find_decoder(parameters->codec_id);
  codec_.reset(decoder == nullptr ? nullptr : avcodec_alloc_context3(decoder));
  if (!codec_ || avcodec_parameters_to_context(codec_.get(), parameters) < 0) {
    return false;
  }
  codec_->pkt_timebase = packets_.stream().time_base;
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
  const bool passesOver = mayBeginAnywhere(packets_.format());
  Step step = next();
  while (step == Step::failed && passesOver && !isDrained_) {
    step = next();
  }
  if (step != Step::decoded) {
    return false;
  }
  rate_ = frame_->sample_rate;
  if (const AVFrameSideData* const trim =
          av_frame_get_side_data(frame_.get(), AV_FRAME_DATA_SKIP_SAMPLES);
      trim != nullptr) {
    priming_ = AV_RL32(trim->data);
  }
  if (!trimsItself_) {
    packetFrames_ = PacketFrames(packets_.stream(), packets_.packet(), *frame_);
    nextPacketAt_ = packetFrames_.of(packets_.packet()).value_or(frame_->nb_samples);
  }
  findsByTime_ = packets_.isMp4() && !trimsItself_ && packets_.stream().nb_frames != 0 &&
                 frame_->pts == 0 && clockCountsFrames(packets_.stream().time_base, rate_);
  return true;
}

FrameStream::Step FrameStream::next() {
  const bool wasLast = frame_->nb_samples != 0 && packetFrames_.isLast(*frame_);
  position_ += frame_->nb_samples;
  while (true) {
    const int received = avcodec_receive_frame(codec_.get(), frame_.get());
    if (received == 0) {
      notePadding();
      return wasLast ? Step::failed : Step::decoded;
    }
    if (received == AVERROR_EOF) {
      return packets_.hasReachedEnd() ? Step::ended : Step::failed;
    }
    if (received != AVERROR(EAGAIN) || !feed()) {
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
  padding_ = padding == 0 ? 0 : padding_ + padding;
}

// Hands the decoder one packet, or the news that there is none left; false when it is damaged.
bool FrameStream::feed() {
  if (!packets_.take()) {
    isDrained_ = true;
    return avcodec_send_packet(codec_.get(), nullptr) == 0;
  }
  nextPacketAt_ += packetFrames_.of(packets_.packet()).value_or(0);
  return packets_.followsOn() && isSound(packets_.packet()) &&
         avcodec_send_packet(codec_.get(), &packets_.packet()) == 0;
}

bool FrameStream::isSound(const AVPacket& packet) const {
  return !packetFrames_.areKnown() || packetFrames_.of(packet);
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
  const AVRational clock = packets_.stream().time_base;
  const AVRational frames = {1, rate_};
  if (!packets_.seek(av_rescale_q(position, frames, clock))) {
    return false;
  }
  restartDecoder(0);
  if (next() != Step::decoded) {
    return false;
  }
  position_ = av_rescale_q(frame_->pts, clock, frames);
  return position_ <= position;
}

bool FrameStream::passPackets(std::int64_t position) {
  if (position < nextPacketAt_) {
    return true;
  }
  restartDecoder(nextPacketAt_);
  while (packets_.take()) {
    const auto frames = packetFrames_.of(packets_.packet());
    if (!packets_.followsOn() || !frames) {
      return false;
    }
    const std::int64_t end = nextPacketAt_ + *frames;
    if (end > position) {
      position_ = std::exchange(nextPacketAt_, end);
      return avcodec_send_packet(codec_.get(), &packets_.packet()) == 0 && next() == Step::decoded;
    }
    nextPacketAt_ = end;
  }
  return false;
}

bool FrameStream::rewind() {
  return findsByTime_ && openCodec() && jumpByTime(0);
}

// The header of a fragmented MP4 file tells of the first fragment alone.
std::optional<std::int64_t> FrameStream::declaredEnd() const {
  const AVStream& stream = packets_.stream();
  const bool isComplete = !packets_.isMp4() || stream.nb_frames != 0;
  const bool isExact =
      isComplete && clockCountsFrames(stream.time_base, rate_) && stream.duration > 0;
  return isExact ? std::optional(av_rescale_q(stream.duration, stream.time_base, {1, rate_}))
                 : std::nullopt;
}

std::optional<std::int64_t> FrameStream::findEnd() {
  const std::int64_t declared = declaredEnd().value_or(0);
  // The last packet is there, so is what lies before it; else the file was cut short.
  const bool isWhole = findsByTime_ && jumpByTime(declared);
  if (findsByTime_ && !isWhole && !rewind()) {
    return std::nullopt;
  }
  const std::int64_t end = !isWhole && packetFrames_.areKnown() ? countPackets() : decodeToEnd();
  // A container that is damaged somewhere has more to come.
  return packets_.hasReachedEnd() ? end : std::max(end, declared);
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
  while (packets_.take() && last.emplace_back(av_packet_clone(&packets_.packet()))) {
    if (last.size() > kLastPackets) {
      nextPacketAt_ += packetFrames_.of(*last.front()).value_or(0);
      last.pop_front();
    }
  }
  position_ = nextPacketAt_;
  for (const Packet& packet : last) {
    if (isSound(*packet)) {
      pass(packet.get());
    }
  }
  isDrained_ = true;
  pass(nullptr);
  return position_;
}

// Decodes a packet, or after the last one what is left, and stands behind it.
void FrameStream::pass(const AVPacket* packet) {
  static_cast<void>(avcodec_send_packet(codec_.get(), packet));
  while (avcodec_receive_frame(codec_.get(), frame_.get()) == 0) {
    notePadding();
    position_ += frame_->nb_samples;
  }
}

}  // namespace brindlevane
