#pragma once

#include "platform/sound/AudioDecoder.h"

#include <memory>

namespace brindlevane {

/// Finds a decoder for a file.
///
/// The decoder libraries take long to load, so each sits behind a module: a dynamic library
/// in the directory of the running program, loaded for the first file that gets as far as it and
/// kept from then on. What gets as far as one that cannot be loaded is not read.
///
/// @param file  stays the caller's and must outlive the decoder
/// @return null when no module reads the file
[[nodiscard]] std::unique_ptr<AudioDecoder> openAudioDecoder(const RegularFile& file);

}  // namespace brindlevane
