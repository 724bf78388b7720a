#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace brindlevane {

template <auto release>
struct ReleaseByAddress {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    release(&object);
  }
};

struct FreeAvio {
  void operator()(AVIOContext* context) const noexcept {
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};

using Avio = std::unique_ptr<AVIOContext, FreeAvio>;
using Packet = std::unique_ptr<AVPacket, ReleaseByAddress<av_packet_free>>;
using Frame = std::unique_ptr<AVFrame, ReleaseByAddress<av_frame_free>>;
using Codec = std::unique_ptr<AVCodecContext, ReleaseByAddress<avcodec_free_context>>;
using Demuxer = std::unique_ptr<AVFormatContext, ReleaseByAddress<avformat_close_input>>;

}  // namespace brindlevane
