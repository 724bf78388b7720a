#include "platform/sound/Interleave.h"

#include <limits>
#include <type_traits>

extern "C" {
#include <libavutil/frame.h>
}

namespace brindlevane {
namespace {

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

}  // namespace

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

}  // namespace brindlevane
