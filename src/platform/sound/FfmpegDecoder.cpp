// The decoder module for what FFmpeg's libraries read beyond libsndfile: AAC and Apple Lossless in
// MP4, WMA, AC-3 and more.

#include "platform/sound/AudioDecoder.h"
#include "platform/sound/FrameStream.h"
#include "platform/sound/Mp4EditList.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>

extern "C" {
#include <libavutil/log.h>
}

namespace brindlevane {
namespace {

// What a decoder keeps of the frames before dies away within the run-up, so that the samples after
// it are those of a decoding from the start; within the limit to decode everything is as quick.
constexpr std::int64_t kFarSeconds = 30;
constexpr std::int64_t kRunUpSeconds = 10;

// What of the decoded frames is the signal.
struct Trim {
  std::int64_t priming;  // frames to drop at the start
  std::int64_t length;   // frames that follow
};

// The gapless data that iTunes writes: " 00000000 00000840 000001CA 00000000003F31F6 ...",
// hexadecimal, with the priming second and the length of the signal fourth.
std::optional<Trim> itunesGapless(const FrameStream& stream) {
  const char* const value = stream.packets().tag("iTunSMPB");
  std::istringstream text(value == nullptr ? "" : value);
  std::string unused;
  Trim trim = {};
  text >> unused >> std::hex >> trim.priming >> unused >> trim.length;
  const bool isAac = stream.packets().stream().codecpar->codec_id == AV_CODEC_ID_AAC;
  return isAac && text && trim.priming >= 0 && trim.length > 0 ? std::optional(trim) : std::nullopt;
}

// The end of the edit is given in movie units, often milliseconds. Where it meets the end of the
// media within one of them it means that end.
Trim editedTrim(const Mp4Edit& edit, std::int64_t mediaFrames, int rate) {
  const std::int64_t priming =
      std::min(av_rescale(edit.mediaStart, rate, edit.mediaTimescale), mediaFrames);
  const std::int64_t left = mediaFrames - priming;
  const std::int64_t edited = av_rescale(edit.duration, rate, edit.movieTimescale);
  const std::int64_t tick = rate / static_cast<std::int64_t>(edit.movieTimescale);
  const bool toTheEnd = edit.duration == 0 || edited >= left - tick;
  return {priming, toTheEnd ? left : edited};
}

// @param rate  Hz
// @param end   the frames that can be decoded
Trim trimOf(const FrameStream& stream, const std::optional<Mp4Edit>& edit, int rate,
            std::int64_t end) {
  const bool isEdited = edit && (edit->mediaStart != 0 || edit->duration != 0);
  if (const std::optional<Trim> gapless = itunesGapless(stream); gapless && !isEdited) {
    return {gapless->priming, std::min(gapless->length, end - gapless->priming)};
  }
  if (edit) {
    const std::int64_t declared = stream.declaredEnd().value_or(end);
    return editedTrim(*edit, std::min(end, declared), rate);
  }
  const std::int64_t trimmed = stream.priming() + stream.padding();
  return {stream.priming(), std::max<std::int64_t>(end - trimmed, 0)};
}

// Writes frames [from, from + count) of a decoded frame, interleaved.
template <typename Sample>
void interleave(const AVFrame& frame, std::int64_t from, std::int64_t count, float* out) {
  // Unsigned samples have their zero in the middle.
  constexpr double kZero = std::is_unsigned_v<Sample> ? 128 : 0;
  const double scale = std::is_integral_v<Sample> ? std::ldexp(2, -8 * int{sizeof(Sample)}) : 1;
  const int channelCount = frame.ch_layout.nb_channels;
  const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) != 0;
  for (int channel = 0; channel < channelCount; ++channel) {
    const auto* const plane =
        reinterpret_cast<const Sample*>(frame.extended_data[planar ? channel : 0]);
    const Sample* const in = planar ? plane + from : plane + from * channelCount + channel;
    const int step = planar ? 1 : channelCount;
    for (std::int64_t i = 0; i < count; ++i) {
      const double sample = (static_cast<double>(in[i * step]) - kZero) * scale;
      out[i * channelCount + channel] = static_cast<float>(sample);
    }
  }
}

using Interleave = decltype(&interleave<float>);

// Null for a format that no decoder of sound delivers.
Interleave interleaveOf(int sampleFormat) {
  switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(sampleFormat))) {
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
  explicit FfmpegDecoder(const RegularFile& file) : file_(file), edit_(readMp4Edit(file)) {
    if (!measure() || !start()) {
      throw std::runtime_error("no sound that can be trimmed");
    }
  }

  [[nodiscard]] Format format() const noexcept override { return format_; }

  [[nodiscard]] bool seek(std::int64_t frame) noexcept override {
    try {
      if (frame < position_ && !start()) {
        return false;
      }
      // Without a run-up there is no limit either.
      const std::int64_t second =
          stream_->needsRunUp() ? static_cast<std::int64_t>(format_.sampleRate) : 0;
      if (stream_->canJump() && frame - position_ > kFarSeconds * second) {
        if (!stream_->jump(trim_.priming + frame - kRunUpSeconds * second)) {
          return false;
        }
        used_ = 0;
        position_ = stream_->position() - trim_.priming;
      }
      return skip(frame - position_);
    } catch (...) {
      return false;
    }
  }

  [[nodiscard]] std::int64_t read(float* samples, std::int64_t frames) noexcept override {
    const std::int64_t done = take(std::min(frames, trim_.length - position_), samples);
    return step_ == FrameStream::Step::failed ? -1 : done;
  }

 private:
  // Finds out what the file holds.
  bool measure() {
    stream_ = std::make_unique<FrameStream>(file_, edit_.has_value());
    const AVFrame& frame = stream_->frame();
    interleave_ = interleaveOf(frame.format);
    sampleFormat_ = frame.format;
    format_.sampleRate = frame.sample_rate;
    format_.channelCount = frame.ch_layout.nb_channels;
    const std::optional<std::int64_t> end = stream_->findEnd();
    if (!end || interleave_ == nullptr) {
      return false;
    }
    trim_ = trimOf(*stream_, edit_, static_cast<int>(format_.sampleRate), *end);
    format_.length = trim_.length;
    return true;
  }

  // Stands at the first frame of the signal afterwards.
  bool start() {
    if (!stream_->rewind()) {
      stream_ = std::make_unique<FrameStream>(file_, edit_.has_value());
    }
    step_ = FrameStream::Step::decoded;
    used_ = 0;
    position_ = -trim_.priming;
    return skip(trim_.priming);
  }

  // Frames left in the current decoded frame, fetching the next one when it is used up. A file
  // that changes its format on the way ends there.
  std::int64_t available() {
    if (step_ == FrameStream::Step::decoded && used_ == stream_->frame().nb_samples) {
      used_ = 0;
      step_ = stream_->next();
    }
    const AVFrame& frame = stream_->frame();
    const bool same = frame.format == sampleFormat_ && frame.sample_rate == format_.sampleRate &&
                      frame.ch_layout.nb_channels == format_.channelCount;
    return step_ == FrameStream::Step::decoded && same ? frame.nb_samples - used_ : 0;
  }

  // Hands out decoded frames, or passes over them where there is no room for any; returns how many
  // there were.
  std::int64_t take(std::int64_t frames, float* samples) {
    std::int64_t done = 0;
    while (done < frames && available() > 0) {
      const std::int64_t part = std::min(frames - done, available());
      if (samples != nullptr) {
        interleave_(stream_->frame(), used_, part, samples + done * format_.channelCount);
      }
      used_ += part;
      position_ += part;
      done += part;
    }
    return done;
  }

  // Passes over decoded frames; false when they end before.
  bool skip(std::int64_t frames) { return take(frames, nullptr) == frames; }

  const RegularFile& file_;
  std::optional<Mp4Edit> edit_;
  std::unique_ptr<FrameStream> stream_;
  FrameStream::Step step_ = FrameStream::Step::decoded;
  Interleave interleave_ = nullptr;
  int sampleFormat_ = AV_SAMPLE_FMT_NONE;
  Format format_ = {};
  Trim trim_ = {};
  std::int64_t position_ = 0;  // in the signal; negative within the priming
  std::int64_t used_ = 0;      // of the current decoded frame
};

}  // namespace
}  // namespace brindlevane

extern "C" [[gnu::visibility("default")]] brindlevane::AudioDecoder* brindlevaneOpenAudioDecoder(
    const brindlevane::RegularFile& file) {
  try {
    av_log_set_level(AV_LOG_QUIET);
    return std::make_unique<brindlevane::FfmpegDecoder>(file).release();
  } catch (...) {
    return nullptr;
  }
}
