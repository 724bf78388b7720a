// The decoder module for what libsndfile reads: WAV, RF64, W64, AIFF, CAF, AU, FLAC, Ogg Vorbis,
// Opus, MP3 and older kinds.

#include <sndfile.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/AudioDecoder.h"

namespace brindlevane {
namespace {

struct CloseSndfile {
  void operator()(SNDFILE* file) const noexcept { sf_close(file); }
};
using SndfileHandle = std::unique_ptr<SNDFILE, CloseSndfile>;

class SndfileDecoder final : public AudioDecoder {
 public:
  SndfileDecoder(SndfileHandle file, const SF_INFO& info) : file_(std::move(file)), info_(info) {}

  [[nodiscard]] Format format() const noexcept override {
    return {static_cast<double>(info_.samplerate), info_.channels, info_.frames};
  }

  [[nodiscard]] bool seek(std::int64_t frame) noexcept override {
    return sf_seek(file_.get(), frame, SEEK_SET) == frame;
  }

  [[nodiscard]] std::int64_t read(float* samples, std::int64_t frames) noexcept override {
    const sf_count_t got = sf_readf_float(file_.get(), samples, frames);
    return got == 0 && sf_error(file_.get()) != SF_ERR_NO_ERROR ? -1 : got;
  }

 private:
  SndfileHandle file_;
  SF_INFO info_;
};

}  // namespace
}  // namespace brindlevane

extern "C" [[gnu::visibility("default")]] brindlevane::AudioDecoder* brindlevaneOpenAudioDecoder(int descriptor) {
  using namespace brindlevane;
  SF_INFO info = {};
  SndfileHandle file(sf_open_fd(descriptor, SFM_READ, &info, SF_FALSE));
  if (!file) {
    return nullptr;
  }
  return new (std::nothrow) SndfileDecoder(std::move(file), info);
}
