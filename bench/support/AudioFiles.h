#pragma once

#include <filesystem>
#include <string>

namespace brindlevane {

/// Writes a stereo WAV file at 44.1 kHz with a few plucked strings, a saw and noise.
///
/// @throws std::runtime_error  sox fails
void writeMusic(const std::filesystem::path& wavFile, int seconds);

/// Writes the same sound in the kind of file that the new name ends with.
///
/// @throws std::runtime_error  ffmpeg fails
void convertAudio(const std::filesystem::path& from, const std::filesystem::path& to);

/// Gives a file a modification time that it did not have, so that nobody can know its content.
void renew(const std::filesystem::path& file);

/// Decodes the first seconds of a file in blocks, with libsndfile alone, and drops the samples.
///
/// @throws std::runtime_error  it holds less
void decodeOnly(const std::filesystem::path& file, int seconds);

}  // namespace brindlevane
