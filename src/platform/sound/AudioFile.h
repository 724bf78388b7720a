#pragma once

#include "platform/sound/AudioDecoder.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace brindlevane {

/// An audio file on the local disk, decoded to single-precision samples.
///
/// Integer samples are scaled by the power of two of their width (16 bits: 1/32768); float samples
/// come as they are, beyond full scale, infinite or NaN. Positions are exact to the frame in every
/// format, and priming and padding that the file declares are no part of the signal.
///
/// The decoder libraries take long to load, so each sits behind a module: a dynamic library in the
/// folder of the running program, loaded for the first file that gets as far as it. What gets as
/// far as one that cannot be loaded is not read.
class AudioFile {
 public:
  /// Receives consecutive frames, interleaved; the view is valid during the call only.
  using BlockHandler = std::function<void(std::span<const float> interleaved)>;

  /// Opens a file for reading; only a regular file is ever opened.
  ///
  /// @param path  bytes of the file's path
  /// @return nothing when there is no such file, or no decoder reads it
  [[nodiscard]] static std::optional<AudioFile> open(const std::string& path);

  AudioFile(AudioFile&&) = default;

  /// Hz.
  [[nodiscard]] double sampleRate() const { return format_.sampleRate; }
  [[nodiscard]] int channelCount() const { return format_.channelCount; }

  /// Frames at sampleRate(), as the file declares them; fewer may really be there.
  [[nodiscard]] std::int64_t length() const { return format_.length; }

  /// Decodes the frames [start, start + count), as many of them as there are, in blocks small
  /// enough to stay in the processor's cache. The file has to have a channel.
  ///
  /// A file that ends early is read as far as it goes; one that is damaged within the frames asked
  /// for is not.
  ///
  /// @return the number of frames handed over, or nothing when the position cannot be reached or
  ///     decoding fails, perhaps after some blocks
  [[nodiscard]] std::optional<std::int64_t> readBlocks(std::int64_t start, std::int64_t count,
                                                       const BlockHandler& handler);

 private:
  explicit AudioFile(RegularFile file);

  // Destroyed from the last to the first: the decoder goes while its file is open.
  std::unique_ptr<RegularFile> file_;
  std::unique_ptr<AudioDecoder> decoder_;
  AudioDecoder::Format format_ = {};
};

}  // namespace brindlevane
