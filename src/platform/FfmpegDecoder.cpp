// The decoder module for what FFmpeg's libraries read beyond libsndfile: AAC and Apple Lossless in
// MP4, WMA, AC-3 and more.

#include "platform/AudioDecoder.h"
#include "platform/ByteSource.h"
#include "platform/Mp4EditList.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace brindlevane {
namespace {

// Formats of one file with sound in it: none that would open another file or an address.
constexpr const char* kFormats =
    "aac,ac3,aiff,ape,asf,caf,dsf,dts,eac3,flac,loas,matroska,mov,mp3,mpc,mpc8,mpegts,ogg,tak,tta,"
    "w64,wav,wv,xwma";
constexpr int kIoBufferBytes = 32768;
// Noise substitution depends on all that was decoded before, so a decoder starts at the
// beginning to be exact. Only this far into a file it jumps, and then to some time before the goal:
// waiting longer would be worse than another draw of the same noise.
constexpr double kFarAheadSeconds = 1800;
constexpr double kRunUpSeconds = 10;

template <auto release>
struct ReleaseByAddress {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    release(&object);
  }
};
using Packet = std::unique_ptr<AVPacket, ReleaseByAddress<av_packet_free>>;
using Frame = std::unique_ptr<AVFrame, ReleaseByAddress<av_frame_free>>;
using Codec = std::unique_ptr<AVCodecContext, ReleaseByAddress<avcodec_free_context>>;
using Demuxer = std::unique_ptr<AVFormatContext, ReleaseByAddress<avformat_close_input>>;

// A regular file as FFmpeg's source of bytes.
class FileSource {
 public:
  explicit FileSource(int descriptor) : bytes_(descriptor) {
    auto* const buffer = static_cast<unsigned char*>(av_malloc(kIoBufferBytes));
    context_ = avio_alloc_context(buffer, kIoBufferBytes, 0, &bytes_, &FileSource::read, nullptr,
                                  &FileSource::seek);
    if (context_ == nullptr) {
      av_free(buffer);
    }
  }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;
  ~FileSource() {
    if (context_ != nullptr) {
      av_freep(&context_->buffer);
      avio_context_free(&context_);
    }
  }

  [[nodiscard]] AVIOContext* context() const { return context_; }

 private:
  static int read(void* opaque, std::uint8_t* buffer, int count) {
    const std::int64_t got = static_cast<ByteSource*>(opaque)->read(buffer, count);
    return got > 0 ? static_cast<int>(got) : got == 0 ? AVERROR_EOF : AVERROR(EIO);
  }

  static std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
    auto* const bytes = static_cast<ByteSource*>(opaque);
    const int from = whence & ~AVSEEK_FORCE;
    return from == AVSEEK_SIZE ? bytes->size() : bytes->seek(offset, from);
  }

  ByteSource bytes_;
  AVIOContext* context_ = nullptr;
};

// What of the decoded frames is the signal.
struct Trim {
  std::int64_t priming = 0;            // frames to drop at the start
  std::optional<std::int64_t> length;  // frames that follow; unknown until counted
};

// One run over a file, from its beginning: whole decoded frames, one after another.
class FrameStream {
 public:
  // @param edited  whether a plain edit list is applied by the caller instead of by FFmpeg
  static std::unique_ptr<FrameStream> open(int descriptor, bool edited) {
    auto stream = std::unique_ptr<FrameStream>(new FrameStream(descriptor));
    return stream->openDemuxer(edited) && stream->openCodec(edited) && stream->next()
               ? std::move(stream)
               : nullptr;
  }

  // Decodes the next frame; false at the end of the file.
  bool next() {
    while (true) {
      av_frame_unref(frame_.get());
      const int received = avcodec_receive_frame(codec_.get(), frame_.get());
      if (received == 0 && frame_->nb_samples > 0) {
        return true;
      }
      if (received == AVERROR_EOF || (received != 0 && received != AVERROR(EAGAIN))) {
        return false;
      }
      if (received != 0 && !feed()) {
        return false;
      }
    }
  }

  // Starts again some time before a point in the media; false when the file cannot do that, and
  // then nothing can be read from it any more.
  bool jumpBefore(std::int64_t mediaFrame) {
    const std::int64_t runUp = static_cast<std::int64_t>(kRunUpSeconds * frame_->sample_rate);
    const std::int64_t goal =
        av_rescale_q(mediaFrame - runUp, {1, frame_->sample_rate}, stream().time_base);
    if (av_seek_frame(demuxer_.get(), stream().index, goal, AVSEEK_FLAG_BACKWARD) < 0) {
      return false;
    }
    avcodec_flush_buffers(codec_.get());
    drained_ = false;
    return next() && frame_->pts != AV_NOPTS_VALUE;
  }

  // Where in the media the current frame begins, by its time stamp.
  [[nodiscard]] std::int64_t mediaFrame() const {
    return av_rescale_q(frame_->pts, stream().time_base, {1, frame_->sample_rate});
  }

  // Counts the packets of the whole file without decoding them; the stream is used up then.
  // Nothing unless each of them holds as many frames as the first.
  std::optional<std::int64_t> countFixedPackets() {
    const std::string_view format = demuxer_->iformat->name;
    if (format != "mp3" && format != "aac" && format != "ac3") {
      return std::nullopt;
    }
    while (av_read_frame(demuxer_.get(), packet_.get()) >= 0) {
      packets_ += packet_->stream_index == streamIndex_ ? 1 : 0;
      av_packet_unref(packet_.get());
    }
    return packets_;
  }

  [[nodiscard]] const AVFrame& frame() const { return *frame_; }
  [[nodiscard]] const AVStream& stream() const {
    return *demuxer_->streams[static_cast<unsigned>(streamIndex_)];
  }

  // The gapless data that iTunes writes: " 00000000 00000840 000001CA 00000000003F31F6 ...",
  // hexadecimal, with the priming second and the length of the signal fourth.
  [[nodiscard]] std::optional<Trim> itunesGapless() const {
    const AVDictionaryEntry* const entry =
        av_dict_get(demuxer_->metadata, "iTunSMPB", nullptr, AV_DICT_MATCH_CASE);
    std::istringstream text(entry == nullptr ? "" : entry->value);
    std::int64_t unused = 0;
    std::int64_t priming = 0;
    std::int64_t length = 0;
    text >> std::hex >> unused >> priming >> unused >> length;
    return text && priming >= 0 && length > 0 ? std::optional(Trim{priming, length}) : std::nullopt;
  }

  [[nodiscard]] bool isMp4() const {
    return std::string_view(demuxer_->iformat->name).starts_with("mov,");
  }

 private:
  explicit FrameStream(int descriptor)
      : source_(descriptor), packet_(av_packet_alloc()), frame_(av_frame_alloc()) {}

  bool openDemuxer(bool edited) {
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr || source_.context() == nullptr || !packet_ || !frame_) {
      avformat_free_context(context);
      return false;
    }
    context->pb = source_.context();
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", kFormats, 0);
    av_dict_set(&options, "protocol_whitelist", "none", 0);
    av_dict_set(&options, "ignore_editlist", edited ? "1" : "0", 0);
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

  bool openCodec(bool edited) {
    const AVCodecParameters* const parameters = stream().codecpar;
    const AVCodec* const decoder = avcodec_find_decoder(parameters->codec_id);
    codec_.reset(decoder == nullptr ? nullptr : avcodec_alloc_context3(decoder));
    if (!codec_ || avcodec_parameters_to_context(codec_.get(), parameters) < 0) {
      return false;
    }
    codec_->pkt_timebase = stream().time_base;
    codec_->thread_count = 1;
    if (edited || itunesGapless()) {
      codec_->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    }
    return avcodec_open2(codec_.get(), decoder, nullptr) == 0;
  }

  // Hands the decoder one more packet; a damaged one is passed over. False when that is no use.
  bool feed() {
    while (!drained_) {
      if (av_read_frame(demuxer_.get(), packet_.get()) < 0) {
        drained_ = true;
        return avcodec_send_packet(codec_.get(), nullptr) == 0;
      }
      const bool wanted = packet_->stream_index == streamIndex_;
      const int sent = wanted ? avcodec_send_packet(codec_.get(), packet_.get()) : AVERROR(EAGAIN);
      av_packet_unref(packet_.get());
      packets_ += wanted ? 1 : 0;
      if (sent == 0) {
        return true;
      }
    }
    return false;
  }

  FileSource source_;
  Demuxer demuxer_;
  Codec codec_;
  Packet packet_;
  Frame frame_;
  int streamIndex_ = -1;
  std::int64_t packets_ = 0;  // read from the stream so far
  bool drained_ = false;
};

template <typename Sample>
float scaled(Sample sample) {
  if constexpr (std::is_floating_point_v<Sample>) {
    return static_cast<float>(sample);
  } else if constexpr (std::is_unsigned_v<Sample>) {
    return static_cast<float>(sample - 128) * (1.0F / 128);
  } else {
    constexpr double kScale = -1.0 / static_cast<double>(std::numeric_limits<Sample>::min());
    return static_cast<float>(static_cast<double>(sample) * kScale);
  }
}

// Writes frames [from, from + count) of a decoded frame, interleaved.
template <typename Sample>
void interleave(const AVFrame& frame, std::int64_t from, std::int64_t count, float* out) {
  const int channelCount = frame.ch_layout.nb_channels;
  const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) != 0;
  for (int channel = 0; channel < channelCount; ++channel) {
    const auto* const plane =
        reinterpret_cast<const Sample*>(frame.extended_data[planar ? channel : 0]);
    const Sample* const in = planar ? plane + from : plane + from * channelCount + channel;
    const int step = planar ? 1 : channelCount;
    for (std::int64_t i = 0; i < count; ++i) {
      out[i * channelCount + channel] = scaled(in[i * step]);
    }
  }
}

using Interleave = void (*)(const AVFrame&, std::int64_t, std::int64_t, float*);

Interleave interleaveOf(int format) {
  switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(format))) {
    case AV_SAMPLE_FMT_U8:
      return &interleave<std::uint8_t>;
    case AV_SAMPLE_FMT_S16:
      return &interleave<std::int16_t>;
    case AV_SAMPLE_FMT_S32:
      return &interleave<std::int32_t>;
    case AV_SAMPLE_FMT_S64:
      return &interleave<std::int64_t>;
    case AV_SAMPLE_FMT_FLT:
      return &interleave<float>;
    case AV_SAMPLE_FMT_DBL:
      return &interleave<double>;
    default:
      return nullptr;
  }
}

class FfmpegDecoder final : public AudioDecoder {
 public:
  static std::unique_ptr<FfmpegDecoder> open(int descriptor) {
    std::unique_ptr<FfmpegDecoder> decoder(new FfmpegDecoder(descriptor, readMp4Edit(descriptor)));
    return decoder->start() && decoder->measure() ? std::move(decoder) : nullptr;
  }

  [[nodiscard]] Format format() const noexcept override { return format_; }

  [[nodiscard]] bool seek(std::int64_t frame) noexcept override {
    try {
      if (frame < position_ && !restart()) {
        return false;
      }
      const double ahead = static_cast<double>(frame - position_) / format_.sampleRate;
      if (ahead > kFarAheadSeconds && edit_) {
        if (!stream_->jumpBefore(trim_.priming + frame)) {
          return false;
        }
        used_ = 0;
        position_ = stream_->mediaFrame() - trim_.priming;
      }
      return skip(frame - position_);
    } catch (...) {
      return false;
    }
  }

  [[nodiscard]] std::int64_t read(float* samples, std::int64_t frames) noexcept override {
    const std::int64_t wanted = std::min(
        frames, trim_.length.value_or(std::numeric_limits<std::int64_t>::max()) - position_);
    std::int64_t done = 0;
    while (done < wanted && available() > 0) {
      const std::int64_t part = std::min(wanted - done, available());
      interleave_(stream_->frame(), used_, part, samples + done * format_.channelCount);
      advance(part);
      done += part;
    }
    return done;
  }

 private:
  FfmpegDecoder(int descriptor, std::optional<Mp4Edit> edit)
      : descriptor_(descriptor), edit_(edit) {}

  // Stands at the first frame of the signal afterwards.
  bool start() {
    stream_ = FrameStream::open(descriptor_, edit_.has_value());
    if (!stream_) {
      return false;
    }
    const AVFrame& frame = stream_->frame();
    interleave_ = interleaveOf(frame.format);
    format_.sampleRate = frame.sample_rate;
    format_.channelCount = frame.ch_layout.nb_channels;
    sampleFormat_ = frame.format;
    trim_ = declaredTrim();
    used_ = 0;
    position_ = 0;
    const bool usable =
        interleave_ != nullptr && format_.sampleRate > 0 && format_.channelCount > 0;
    return usable && drop(trim_.priming);
  }

  // Finds the length: the one declared, or else by going through the file to its end once.
  bool measure() {
    if (!trim_.length) {
      const std::int64_t counted = countFrames();
      if (!start()) {
        return false;
      }
      trim_.length = counted;
    }
    format_.length = *trim_.length;
    return true;
  }

  std::int64_t countFrames() {
    const std::int64_t perPacket = stream_->frame().nb_samples;
    if (const std::optional<std::int64_t> packets = stream_->countFixedPackets()) {
      return *packets * perPacket;
    }
    while (available() > 0) {
      advance(available());
    }
    return position_;
  }

  bool restart() {
    const Trim known = trim_;
    const bool started = start();
    trim_ = known;
    return started;
  }

  [[nodiscard]] Trim declaredTrim() const {
    const AVStream& stream = stream_->stream();
    const auto rate = stream_->frame().sample_rate;
    const bool hasDuration = stream.duration != AV_NOPTS_VALUE && stream.duration > 0;
    const std::int64_t duration =
        hasDuration ? av_rescale_q(stream.duration, stream.time_base, {1, rate}) : 0;
    if (edit_ && hasDuration) {
      return editedTrim(duration, rate);
    }
    if (const std::optional<Trim> gapless = stream_->itunesGapless(); gapless && !edit_) {
      return *gapless;
    }
    // Only a clock that counts samples tells the length to the sample.
    const bool exact = hasDuration && stream.time_base.num == 1 && stream.time_base.den == rate;
    return {0, exact && stream_->isMp4() ? std::optional(duration) : std::nullopt};
  }

  // The end of the edit is given in movie units, often milliseconds. Where it meets the end of
  // the media within one of them it means that end.
  [[nodiscard]] Trim editedTrim(std::int64_t mediaFrames, int rate) const {
    const std::int64_t priming =
        std::min(av_rescale(edit_->mediaStart, rate, edit_->mediaTimescale), mediaFrames);
    const std::int64_t left = mediaFrames - priming;
    const std::int64_t edited = av_rescale(edit_->duration, rate, edit_->movieTimescale);
    const std::int64_t tick = rate / static_cast<std::int64_t>(edit_->movieTimescale);
    const bool toTheEnd = edit_->duration == 0 || edited >= left - tick;
    return {priming, toTheEnd ? left : edited};
  }

  // Frames left in the current decoded frame, fetching the next one when it is used up. A file
  // that changes its format on the way ends there.
  std::int64_t available() {
    if (stream_->frame().nb_samples <= used_ && stream_->frame().nb_samples > 0) {
      used_ = 0;
      static_cast<void>(stream_->next());
    }
    const AVFrame& frame = stream_->frame();
    const bool same = frame.format == sampleFormat_ && frame.sample_rate == format_.sampleRate &&
                      frame.ch_layout.nb_channels == format_.channelCount;
    return same ? frame.nb_samples - used_ : 0;
  }

  void advance(std::int64_t frames) {
    used_ += frames;
    position_ += frames;
  }

  // Passes over frames of the signal; false when it ends before.
  bool skip(std::int64_t frames) {
    while (frames > 0 && available() > 0) {
      const std::int64_t part = std::min(frames, available());
      advance(part);
      frames -= part;
    }
    return frames == 0;
  }

  bool drop(std::int64_t priming) {
    const bool dropped = skip(priming);
    position_ = 0;
    return dropped;
  }

  int descriptor_;
  std::optional<Mp4Edit> edit_;
  std::unique_ptr<FrameStream> stream_;
  Interleave interleave_ = nullptr;
  int sampleFormat_ = AV_SAMPLE_FMT_NONE;
  Format format_;
  Trim trim_;
  std::int64_t position_ = 0;
  std::int64_t used_ = 0;
};

}  // namespace
}  // namespace brindlevane

extern "C" [[gnu::visibility("default")]] brindlevane::AudioDecoder* brindlevaneOpenAudioDecoder(
    int descriptor) {
  try {
    av_log_set_level(AV_LOG_QUIET);
    return brindlevane::FfmpegDecoder::open(descriptor).release();
  } catch (...) {
    return nullptr;
  }
}
