#include "platform/sound/FrameStream.h"

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

FrameStream::FrameStream(std::unique_ptr<PacketReader> packets, bool ownsEditing)
    : packets_(std::move(packets)),
      frame_(av_frame_alloc()),
      trimsItself_(packets_->isMp4() && !ownsEditing) {}

std::unique_ptr<FrameStream> FrameStream::open(const RegularFile& file, bool ownsEditing) {
  std::unique_ptr<PacketReader> packets = PacketReader::open(file, ownsEditing);
  if (!packets) {
    return nullptr;
  }
  auto stream = std::unique_ptr<FrameStream>(new FrameStream(std::move(packets), ownsEditing));
  return stream->frame_ && stream->openCodec() && stream->decodeFirst() ? std::move(stream)
                                                                        : nullptr;
}

bool FrameStream::needsRunUp() const {
  return !packetsAreIndependent(codec_->codec_id);
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
  const bool passesOver = mayBeginAnywhere(packets_->format());
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
  packetFrames_.emplace(stream(), packets_->packet(), *frame_);
  nextPacketAt_ = packetFrames_->of(packets_->packet()).value_or(frame_->nb_samples);
  findsByTime_ = !trimsItself_ && hasExactTimes();
  return true;
}

// Whether the container leads from a time stamp to its packet, both exact to the frame.
bool FrameStream::hasExactTimes() const {
  const AVStream& sound = stream();
  const bool isComplete =
      packets_->isMp4() ? sound.nb_frames > 0 : isPlainPcm(packets_->format(), codec_->codec_id);
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
      return packets_->hasReachedEnd() ? Step::ended : Step::failed;
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

// Hands the decoder one packet, or the news that there is none left; false when it is damaged.
bool FrameStream::feed() {
  if (!packets_->take()) {
    isDrained_ = true;
    return avcodec_send_packet(codec_.get(), nullptr) == 0;
  }
  if (packetFrames_) {
    nextPacketAt_ += packetFrames_->of(packets_->packet()).value_or(0);
  }
  return packets_->followsOn() && isSound(packets_->packet()) &&
         avcodec_send_packet(codec_.get(), &packets_->packet()) == 0;
}

bool FrameStream::isSound(const AVPacket& packet) const {
  const bool isCut = (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
  return !(isCut && av_get_exact_bits_per_sample(codec_->codec_id) == 0) &&
         (!packetFrames_ || !packetFrames_->areKnown() || packetFrames_->of(packet));
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
  const AVRational clock = stream().time_base;
  const AVRational frames = {1, rate_};
  const std::int64_t goal = firstTime_ + av_rescale_q(position, frames, clock);
  if (!packets_->seek(goal)) {
    return false;
  }
  restartDecoder(0);
  if (next() != Step::decoded || frame_->pts == AV_NOPTS_VALUE) {
    return false;
  }
  position_ = av_rescale_q(frame_->pts - firstTime_, clock, frames);
  return position_ <= position;
}

bool FrameStream::passPackets(std::int64_t position) {
  if (position < nextPacketAt_) {
    return true;
  }
  restartDecoder(nextPacketAt_);
  while (packets_->take()) {
    const std::optional<std::int64_t> frames = packetFrames_->of(packets_->packet());
    if (!frames || !packets_->followsOn() || !isSound(packets_->packet())) {
      return false;
    }
    if (nextPacketAt_ + *frames > position) {
      packets_->holdBack();
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
  const bool isComplete = !packets_->isMp4() || stream().nb_frames > 0;
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
  // A container that is damaged somewhere has more to come.
  return packets_->hasReachedEnd() ? end : std::max(end, declared);
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
  while (packets_->take()) {
    last.emplace_back(av_packet_alloc());
    if (!last.back()) {
      break;
    }
    av_packet_move_ref(last.back().get(), &packets_->packet());
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
