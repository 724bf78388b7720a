#include "platform/sound/AudioFile.h"

#include "platform/RegularFile.h"
#include "platform/sound/DecoderModules.h"

#include <algorithm>
#include <utility>

namespace brindlevane {
namespace {

// 64 KiB of samples: large enough to hide the cost of a call, small enough for a second-level
// cache to hold the block and what is made of it.
constexpr std::int64_t kBlockSamples = 16384;

}  // namespace

// Members are destroyed from the last to the first: the decoder goes while its descriptor is open.
struct AudioFile::State {
  RegularFile file;
  std::unique_ptr<AudioDecoder> decoder;
  AudioDecoder::Format format;
  std::int64_t position = 0;
};

AudioFile::AudioFile(std::unique_ptr<State> state) : state_(std::move(state)) {}
AudioFile::AudioFile(AudioFile&& other) noexcept = default;
AudioFile& AudioFile::operator=(AudioFile&& other) noexcept = default;
AudioFile::~AudioFile() = default;

std::optional<AudioFile> AudioFile::open(const std::string& path) {
  std::optional<RegularFile> file = RegularFile::open(path);
  if (!file) {
    return std::nullopt;
  }
  auto state = std::make_unique<State>(State{std::move(*file), nullptr, {}, 0});
  state->decoder = openAudioDecoder(state->file);
  if (!state->decoder) {
    return std::nullopt;
  }
  state->format = state->decoder->format();
  return AudioFile(std::move(state));
}

double AudioFile::sampleRate() const {
  return state_->format.sampleRate;
}

int AudioFile::channelCount() const {
  return state_->format.channelCount;
}

std::int64_t AudioFile::length() const {
  return state_->format.length;
}

std::optional<std::int64_t> AudioFile::readBlocks(std::int64_t start, std::int64_t count,
                                                  const BlockHandler& handler) {
  const std::int64_t channelCount = state_->format.channelCount;
  if (channelCount < 1 || start < 0) {
    return std::nullopt;
  }
  const std::int64_t wanted = std::clamp<std::int64_t>(state_->format.length - start, 0, count);
  if (wanted > 0 && start != state_->position && !state_->decoder->seek(start)) {
    return std::nullopt;
  }
  const std::int64_t blockFrames = std::max<std::int64_t>(kBlockSamples / channelCount, 1);
  std::vector<float> block(static_cast<std::size_t>(blockFrames * channelCount));
  // After a fault the decoder's place is unknown, so the next call has to seek.
  state_->position = -1;
  std::int64_t done = 0;
  while (done < wanted) {
    const std::int64_t got =
        state_->decoder->read(block.data(), std::min(blockFrames, wanted - done));
    if (got < 0 || state_->file.hasFailed()) {
      return std::nullopt;
    }
    if (got == 0) {
      break;
    }
    handler(std::span(block).first(static_cast<std::size_t>(got * channelCount)));
    done += got;
  }
  state_->position = start + done;
  return done;
}

}  // namespace brindlevane
