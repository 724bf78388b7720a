// The decoder module for what libsndfile reads: WAV, RF64, W64, AIFF, CAF, AU, FLAC, Ogg Vorbis,
// Opus, MP3 and older kinds.

#include "platform/AudioDecoder.h"
#include "platform/ByteSource.h"
#include "platform/MpegHeader.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

namespace brindlevane {
namespace {

struct CloseSndfile {
  void operator()(SNDFILE* file) const noexcept { sf_close(file); }
};
using SndfileHandle = std::unique_ptr<SNDFILE, CloseSndfile>;

// At least one frame of the 1024 channels that libsndfile allows.
constexpr sf_count_t kMostSamples = 8192;
// An Opus decoder never quite forgets what it decoded before, and a jump within Vorbis now and then
// misses by some milliseconds, so both start at the beginning to be exact. Only this far ahead they
// jump, and then to some time before the goal: a small deviation is better than waiting longer.
constexpr sf_count_t kOpusFarSeconds = 600;
constexpr sf_count_t kVorbisFarSeconds = 3600;
constexpr sf_count_t kRunUpSeconds = 10;
constexpr float kShortScale = 1.0F / 32768;

ByteSource& sourceOf(void* bytes) {
  return *static_cast<ByteSource*>(bytes);
}

SF_VIRTUAL_IO callbacks() {
  SF_VIRTUAL_IO io = {};
  io.get_filelen = [](void* bytes) { return static_cast<sf_count_t>(sourceOf(bytes).size()); };
  io.seek = [](sf_count_t offset, int whence, void* bytes) {
    return static_cast<sf_count_t>(sourceOf(bytes).seek(offset, whence));
  };
  io.read = [](void* to, sf_count_t count, void* bytes) {
    return std::max<sf_count_t>(sourceOf(bytes).read(to, count), 0);
  };
  io.tell = [](void* bytes) { return static_cast<sf_count_t>(sourceOf(bytes).position()); };
  return io;
}

class SndfileDecoder final : public AudioDecoder {
 public:
  explicit SndfileDecoder(int descriptor) : descriptor_(descriptor), bytes_(descriptor) {
    openFile();
  }

  [[nodiscard]] bool isOpen() const { return file_ != nullptr; }

  // Of an MPEG stream without a count of its frames libsndfile guesses the length, and then stops
  // there or makes up silence.
  [[nodiscard]] bool guessesLength(int descriptor) const {
    return kind() == SF_FORMAT_MPEG && !mpegFramesAreCounted(descriptor);
  }

  [[nodiscard]] Format format() const noexcept override {
    return {static_cast<double>(info_.samplerate), info_.channels, info_.frames};
  }

  [[nodiscard]] bool seek(std::int64_t frame) noexcept override {
    if (!seeksInexactly() && sf_seek(file_.get(), frame, SEEK_SET) == frame) {
      position_ = frame;
      return true;
    }
    return decodeUpTo(frame);
  }

  [[nodiscard]] std::int64_t read(float* samples, std::int64_t frames) noexcept override {
    const sf_count_t got =
        holdsShorts() ? readShorts(samples, frames) : sf_readf_float(file_.get(), samples, frames);
    position_ += got;
    return got == 0 && sf_error(file_.get()) != SF_ERR_NO_ERROR ? -1 : got;
  }

 private:
  [[nodiscard]] int kind() const { return info_.format & SF_FORMAT_TYPEMASK; }

  void openFile() {
    SF_VIRTUAL_IO io = callbacks();
    bytes_ = ByteSource(descriptor_);
    info_ = {};
    file_.reset(sf_open_virtual(&io, SFM_READ, &info_, &bytes_));
    position_ = 0;
  }

  // See kOpusFarSeconds.
  [[nodiscard]] bool seeksInexactly() const {
    const int coding = info_.format & SF_FORMAT_SUBMASK;
    return coding == SF_FORMAT_VORBIS || coding == SF_FORMAT_OPUS;
  }

  // Reaches a frame by decoding what lies before it: all of it, or far ahead some seconds.
  bool decodeUpTo(std::int64_t frame) {
    const bool isOpus = (info_.format & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS;
    const sf_count_t farSeconds = isOpus ? kOpusFarSeconds : kVorbisFarSeconds;
    const bool jumps = frame - position_ > farSeconds * info_.samplerate;
    const sf_count_t runUp = frame - kRunUpSeconds * info_.samplerate;
    if (jumps && sf_seek(file_.get(), runUp, SEEK_SET) == runUp) {
      position_ = runUp;
    } else if (jumps || frame < position_) {
      // A jump that failed may have moved the decoder too.
      openFile();
    }
    std::array<float, kMostSamples> unused = {};
    const sf_count_t room = kMostSamples / info_.channels;
    while (file_ && position_ < frame) {
      if (read(unused.data(), std::min(room, frame - position_)) <= 0) {
        return false;
      }
    }
    return file_ != nullptr;
  }

  // 16-bit samples stored as they are: libsndfile hands them out without looking at each, and the
  // loop below scales them several times faster than the library does.
  [[nodiscard]] bool holdsShorts() const {
    return (info_.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16 &&
           (kind() == SF_FORMAT_WAV || kind() == SF_FORMAT_WAVEX || kind() == SF_FORMAT_AIFF);
  }

  sf_count_t readShorts(float* samples, sf_count_t frames) {
    const sf_count_t room = kMostSamples / info_.channels;
    sf_count_t done = 0;
    while (done < frames) {
      const sf_count_t got =
          sf_readf_short(file_.get(), shorts_.data(), std::min(room, frames - done));
      if (got <= 0) {
        break;
      }
      float* const part = samples + done * info_.channels;
      for (sf_count_t i = 0; i < got * info_.channels; ++i) {
        part[i] = static_cast<float>(shorts_[static_cast<std::size_t>(i)]) * kShortScale;
      }
      done += got;
    }
    return done;
  }

  int descriptor_;
  ByteSource bytes_;
  std::int64_t position_ = 0;
  SF_INFO info_ = {};
  SndfileHandle file_;
  std::array<std::int16_t, kMostSamples> shorts_ = {};
};

}  // namespace
}  // namespace brindlevane

extern "C" [[gnu::visibility("default")]] brindlevane::AudioDecoder* brindlevaneOpenAudioDecoder(
    int descriptor) {
  try {
    auto decoder = std::make_unique<brindlevane::SndfileDecoder>(descriptor);
    return decoder->isOpen() && !decoder->guessesLength(descriptor) ? decoder.release() : nullptr;
  } catch (...) {
    return nullptr;
  }
}
