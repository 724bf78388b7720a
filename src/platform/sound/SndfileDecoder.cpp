// The decoder module for what libsndfile reads: WAV, RF64, W64, AIFF, CAF, AU, FLAC, Ogg Vorbis,
// Opus, MP3 and older kinds.

#include "platform/sound/AudioDecoder.h"
#include "platform/sound/ByteSource.h"
#include "platform/sound/MpegHeader.h"
#include "platform/sound/OggPages.h"
#include "platform/sound/SndfileHandle.h"
#include "platform/sound/VorbisChannels.h"

#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <span>

namespace brindlevane {
namespace {

// At least one frame of the 1024 channels that libsndfile allows.
constexpr sf_count_t kMostSamples = 16384;
// A block of Vorbis or Opus depends on what was decoded before it, so positions are reached by
// decoding from the beginning, or, that far ahead, from some time before the goal.
constexpr sf_count_t kFarSeconds = 30;
constexpr sf_count_t kRunUpSeconds = 10;
constexpr float kShortScale = 1.0F / 32768;

class SndfileDecoder final : public AudioDecoder {
 public:
  explicit SndfileDecoder(const RegularFile& file) : file_(file), bytes_(file) {
    whole_.begin = endOfTags(file);
    whole_.end = bytes_.size();
    if (oggPageLength(file, 0, whole_.end) != 0) {
      whole_.end = lastOggPageEnd(file, whole_.end);
    }
    info_ = openSection(whole_);
    if (isOgg()) {
      headerEnd_ = oggHeaderEnd(file, coding() == SF_FORMAT_OPUS ? 2 : 3);
    }
    if (kind() == SF_FORMAT_FLAC && info_.frames == SF_COUNT_MAX) {
      countFrames();
    }
  }

  // Whether this is the decoder for the file: libsndfile reads it, and reads it right.
  [[nodiscard]] bool isRight() const {
    if (!handle_ || info_.frames == SF_COUNT_MAX) {
      return false;
    }
    switch (coding()) {
      case SF_FORMAT_MPEG_LAYER_I:
        // Its frames cannot be checked for gaps here.
        return false;
      case SF_FORMAT_MPEG_LAYER_II:
      case SF_FORMAT_MPEG_LAYER_III:
        // Without a count of the frames the length is guessed, and then libsndfile stops there or
        // makes up silence.
        return mpegFramesAreCounted(file_, whole_.begin) &&
               mpegFrameLength(file_, whole_.begin) != 0;
      case SF_FORMAT_VORBIS:
      case SF_FORMAT_OPUS:
        return headerEnd_ != 0;
      case SF_FORMAT_PCM_U8:
      case SF_FORMAT_PCM_32:
        // In W64 libsndfile takes what an extensible header describes for integers, be it A-law or
        // floats.
        return kind() != SF_FORMAT_W64;
      case SF_FORMAT_GSM610:
        // In WAV and W64 it takes the byte behind an odd number of blocks for one more.
        return kind() == SF_FORMAT_AIFF;
      case SF_FORMAT_IMA_ADPCM:
        // Of Apple's variety it drops the lowest bits at each block.
        return kind() != SF_FORMAT_AIFF;
      default:
        return true;
    }
  }

  [[nodiscard]] Format format() const noexcept override {
    return {static_cast<double>(info_.samplerate), info_.channels, info_.frames};
  }

  [[nodiscard]] bool seek(std::int64_t frame) noexcept override {
    try {
      if (!isOgg() && !hasFailed_ && handle_ && (frame == position_ || move(frame) == frame)) {
        position_ = frame;
        return true;
      }
      return decodeUpTo(frame);
    } catch (...) {
      return false;
    }
  }

  [[nodiscard]] std::int64_t read(float* samples, std::int64_t frames) noexcept override {
    try {
      if (hasFailed_ || !handle_) {
        return hasFailed_ ? -1 : 0;
      }
      bytes_.beginStep();
      const sf_count_t wanted = std::min(frames, info_.frames - position_);
      const sf_count_t got = coding() == SF_FORMAT_PCM_16
                                 ? readShorts(samples, wanted)
                                 : sf_readf_float(handle_.get(), samples, wanted);
      if (isOgg()) {
        bringVorbisChannelsInOrder(
            std::span(samples, static_cast<std::size_t>(got * info_.channels)), info_.channels);
      }
      position_ += got;
      hasFailed_ = !isUnbrokenUpTo(bytes_.fileOffset()) ||
                   (sf_error(handle_.get()) != SF_ERR_NO_ERROR && isDamage());
      return hasFailed_ ? -1 : got;
    } catch (...) {
      hasFailed_ = true;
      return -1;
    }
  }

 private:
  [[nodiscard]] int kind() const { return info_.format & SF_FORMAT_TYPEMASK; }
  [[nodiscard]] int coding() const { return info_.format & SF_FORMAT_SUBMASK; }
  [[nodiscard]] bool isOgg() const { return kind() == SF_FORMAT_OGG; }

  // Opens a part of the file, to be checked for gaps from where its sound begins.
  SF_INFO openSection(const ByteSection& section) {
    SF_INFO info = {};
    handle_.reset();
    bytes_ = ByteSource(file_, section);
    handle_ = openSndfile(bytes_, info);
    hasFailed_ = !handle_;
    checked_ = section.begin;
    return info;
  }

  // Has the library seek, for which it reads all that lies between in an MPEG stream.
  sf_count_t move(sf_count_t frame) {
    constexpr std::int64_t kUsual = ByteSource::kMostInStep;
    bytes_.beginStep(kind() == SF_FORMAT_MPEG ? std::max(bytes_.size(), kUsual) : kUsual);
    return sf_seek(handle_.get(), frame, SEEK_SET);
  }

  // Follows the Ogg pages or MPEG frames up to an offset. The library passes over lost ones in
  // silence, and whatever follows comes too early then.
  bool isUnbrokenUpTo(std::int64_t offset) {
    // None tells its length in fewer bytes than these.
    constexpr std::int64_t kLeast = 4;
    const bool isChain = isOgg() || kind() == SF_FORMAT_MPEG;
    while (isChain && checked_ < offset && checked_ + kLeast <= whole_.end) {
      const std::int64_t length =
          isOgg() ? oggPageLength(file_, checked_, whole_.end) : mpegFrameLength(file_, checked_);
      if (length == 0) {
        return false;
      }
      checked_ += length;
    }
    return true;
  }

  // Stands at the first frame afterwards.
  void restart() {
    openSection(whole_);
    position_ = 0;
  }

  // Finds the length by decoding the file once. Damage counts as one frame more, so that whoever
  // reads up to there learns of it.
  void countFrames() {
    while (skip(SF_COUNT_MAX)) {
    }
    info_.frames = position_ + (hasFailed_ ? 1 : 0);
    restart();
  }

  // Whether an error that libsndfile has told means damage. Once the end of the file was seen it
  // may as well mean that the file was cut there; then its last frame is missing.
  bool isDamage() {
    if (!bytes_.hasReachedEnd()) {
      return true;
    }
    openSection(whole_);
    float* const unused = samples_.data();
    const bool endIsThere = move(info_.frames - 1) >= 0 &&
                            sf_readf_float(handle_.get(), unused, 1) == 1 &&
                            sf_error(handle_.get()) == SF_ERR_NO_ERROR;
    handle_.reset();
    return endIsThere;
  }

  // Reaches a frame by decoding what lies before it: all of it, or far ahead some seconds.
  bool decodeUpTo(std::int64_t frame) {
    const std::int64_t distance = frame < position_ ? frame : frame - position_;
    if (isOgg() && distance > kFarSeconds * info_.samplerate) {
      jumpBefore(frame - kRunUpSeconds * info_.samplerate);
    } else if (hasFailed_ || !handle_ || frame < position_) {
      restart();
    }
    while (position_ < frame) {
      if (!skip(frame - position_)) {
        return false;
      }
    }
    return !hasFailed_;
  }

  // Passes over some frames, at most so many; false at the end of the file.
  bool skip(std::int64_t frames) {
    return read(samples_.data(), std::min(kMostSamples / info_.channels, frames)) > 0;
  }

  // Where the last whole page begins that the library has taken up by the time it has read up to an
  // offset; it reads some KiB ahead.
  std::int64_t pageBefore(std::int64_t offset) {
    constexpr std::int64_t kReadAhead = 8192;
    constexpr std::int64_t kTwoPages = std::int64_t{1} << 17U;
    std::int64_t page = std::max(headerEnd_, offset - kTwoPages);
    for (std::int64_t next = page; next <= offset - kReadAhead;
         next = nextOggPage(file_, next + 1, whole_.end)) {
      page = next;
    }
    return nextOggPage(file_, page, whole_.end);
  }

  // Stands at or before a frame of Ogg sound afterwards, within some seconds if it can be.
  void jumpBefore(std::int64_t goal) {
    if (coding() == SF_FORMAT_OPUS) {
      restart();
      if (move(goal) == goal) {
        checked_ = pageBefore(bytes_.fileOffset());
        position_ = goal;
      } else {
        restart();
      }
      return;
    }
    // Halves what lies between a page to start from and the end of those that are no use.
    constexpr int kMostSteps = 20;
    const std::int64_t near = kRunUpSeconds * info_.samplerate;
    std::int64_t start = headerEnd_;
    std::int64_t startFrame = 0;
    std::int64_t end = whole_.end;
    for (int i = 0; i < kMostSteps && goal - startFrame > near; ++i) {
      const std::int64_t middle = std::midpoint(start, end);
      const std::int64_t page = nextOggPage(file_, middle, end);
      if (page < end && openAt(page) && position_ <= goal) {
        start = page;
        startFrame = position_;
      } else {
        end = middle;
      }
    }
    openAt(start);
  }

  // Opens the header and the pages of Vorbis from one on, as if the pages between did not exist;
  // so the library counts the frames from there to the end itself. Its own jumps now and then miss
  // by some milliseconds.
  bool openAt(std::int64_t page) {
    position_ = info_.frames - openSection({headerEnd_, page, whole_.end}).frames;
    return handle_ && position_ >= 0;
  }

  // 16-bit samples: libsndfile hands them out without looking at each, and to scale them here is
  // several times faster than to let the library do it.
  sf_count_t readShorts(float* samples, sf_count_t frames) {
    const sf_count_t got = sf_readf_short(handle_.get(), shorts_.data(),
                                          std::min(kMostSamples / info_.channels, frames));
    std::transform(shorts_.begin(), shorts_.begin() + got * info_.channels, samples,
                   [](std::int16_t sample) { return static_cast<float>(sample) * kShortScale; });
    return got;
  }

  const RegularFile& file_;
  ByteSection whole_;
  ByteSource bytes_;
  std::int64_t headerEnd_ = 0;  // where that of an Ogg file ends
  std::int64_t checked_ = 0;    // up to where the file has no gap
  std::int64_t position_ = 0;
  bool hasFailed_ = false;
  SF_INFO info_ = {};
  SndfileHandle handle_;
  std::array<std::int16_t, kMostSamples> shorts_ = {};
  std::array<float, kMostSamples> samples_ = {};  // passed over
};

}  // namespace
}  // namespace brindlevane

extern "C" [[gnu::visibility("default")]] brindlevane::AudioDecoder* brindlevaneOpenAudioDecoder(
    const brindlevane::RegularFile& file) {
  try {
    auto decoder = std::make_unique<brindlevane::SndfileDecoder>(file);
    return decoder->isRight() ? decoder.release() : nullptr;
  } catch (...) {
    return nullptr;
  }
}
