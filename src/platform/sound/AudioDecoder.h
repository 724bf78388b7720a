#pragma once

#include "platform/RegularFile.h"

#include <cstdint>

namespace brindlevane {

/// One audio file being decoded, as a decoder module offers it.
///
/// Objects cross the border of a dynamically loaded library, so no operation throws. An object
/// is used by one thread at a time.
class AudioDecoder {
 public:
  /// What the decoder delivers.
  struct Format {
    double sampleRate;    ///< Hz, the file's own rate
    int channelCount;     ///< channels in one frame
    std::int64_t length;  ///< frames, without declared priming and padding
  };

  virtual ~AudioDecoder() = default;

  [[nodiscard]] virtual Format format() const noexcept = 0;

  /// Makes `frame` the next frame to be read, exactly. A decoder that has just been opened
  /// stands at frame 0.
  ///
  /// @return whether the decoder stands there now
  [[nodiscard]] virtual bool seek(std::int64_t frame) noexcept = 0;

  /// Decodes the next frames, interleaved, full scale = 1.
  ///
  /// @param samples  room for `frames` times the channel count
  /// @return the frames written; 0 at the end of the file, negative for a fault of the file
  [[nodiscard]] virtual std::int64_t read(float* samples, std::int64_t frames) noexcept = 0;
};

/// The one entry point of a decoder module: takes up a file.
///
/// The file stays the caller's and outlives the decoder.
///
/// @return a decoder for the caller to delete, or null when the module cannot read the file
using OpenAudioDecoder = AudioDecoder* (*)(const RegularFile& file);

/// The symbol under which a module exports its entry point.
inline constexpr const char* kOpenAudioDecoderSymbol = "brindlevaneOpenAudioDecoder";

}  // namespace brindlevane
