#include "platform/sound/Fft.h"

#include <new>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

namespace brindlevane {

Fft::Fft(std::size_t length)
    : length_(length),
      samples_(static_cast<float*>(av_calloc(length, sizeof(float)))),
      bins_(static_cast<std::complex<float>*>(
          av_calloc(length / 2 + 1, sizeof(std::complex<float>)))) {
  const float scale = 1;
  AVTXContext* context = nullptr;
  const int status =
      av_tx_init(&context, &transform_, AV_TX_FLOAT_RDFT, 0, static_cast<int>(length), &scale, 0);
  context_.reset(context);
  if (status < 0 || !samples_ || !bins_) {
    throw std::bad_alloc();
  }
}

std::span<const std::complex<float>> Fft::transform() {
  transform_(context_.get(), bins_.get(), samples_.get(), sizeof(float));
  return {bins_.get(), length_ / 2 + 1};
}

void Fft::Release::operator()(AVTXContext* context) const {
  av_tx_uninit(&context);
}

void Fft::Release::operator()(void* memory) const {
  av_free(memory);
}

}  // namespace brindlevane
