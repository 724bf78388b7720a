#pragma once

#include <filesystem>
#include <span>

namespace brindlevane {

/// Writes a WAV file of 32-bit float samples.
///
/// @param interleaved  frame after frame, full scale = 1
/// @param sampleRate   Hz
/// @throws std::runtime_error  the file cannot be written
void writeWav(const std::filesystem::path& file, std::span<const float> interleaved,
              int channelCount, double sampleRate);

}  // namespace brindlevane
