#include "platform/sound/AudioFile.h"

#include "platform/Folders.h"
#include "platform/sound/DynamicLibrary.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

// 64 KiB of samples: large enough to hide the cost of a call, small enough for a second-level
// cache to hold the block and what is made of it.
constexpr std::int64_t kBlockSamples = 16384;

// Null when no module reads the file.
std::unique_ptr<AudioDecoder> decoderOf(const RegularFile& file) {
  // In the order in which they are tried. The second reads most of what is the first one's, but not
  // to the same sample.
  for (const char* const module : {"brindlevane_sndfile", "brindlevane_ffmpeg"}) {
    const auto open = reinterpret_cast<OpenAudioDecoder>(
        loadedSymbol(programFolder() + module, kOpenAudioDecoderSymbol));
    std::unique_ptr<AudioDecoder> decoder(open == nullptr ? nullptr : open(file));
    if (open == nullptr || file.hasFailed()) {
      return nullptr;
    }
    if (decoder) {
      return decoder;
    }
  }
  return nullptr;
}

}  // namespace

AudioFile::AudioFile(RegularFile file)
    : file_(std::make_unique<RegularFile>(std::move(file))), decoder_(decoderOf(*file_)) {
  if (decoder_) {
    format_ = decoder_->format();
  }
}

std::optional<AudioFile> AudioFile::open(const std::string& path) {
  std::optional<RegularFile> regular = RegularFile::open(path);
  if (!regular) {
    return std::nullopt;
  }
  AudioFile file(std::move(*regular));
  return file.decoder_ ? std::optional(std::move(file)) : std::nullopt;
}

std::optional<std::int64_t> AudioFile::readBlocks(std::int64_t start, std::int64_t count,
                                                  const BlockHandler& handler) {
  const std::int64_t channelCount = format_.channelCount;
  const std::int64_t wanted = std::clamp<std::int64_t>(format_.length - start, 0, count);
  if (wanted > 0 && !decoder_->seek(start)) {
    return std::nullopt;
  }
  const std::int64_t blockFrames = std::max<std::int64_t>(kBlockSamples / channelCount, 1);
  std::vector<float> block(static_cast<std::size_t>(blockFrames * channelCount));
  std::int64_t done = 0;
  while (done < wanted) {
    const std::int64_t got = decoder_->read(block.data(), std::min(blockFrames, wanted - done));
    if (got < 0 || file_->hasFailed()) {
      return std::nullopt;
    }
    if (got == 0) {
      break;
    }
    handler(std::span(block).first(static_cast<std::size_t>(got * channelCount)));
    done += got;
  }
  return done;
}

}  // namespace brindlevane
