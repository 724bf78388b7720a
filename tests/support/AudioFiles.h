#pragma once

#include "contract/AnalysisError.h"
#include "platform/sound/AudioFile.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brindlevane::testing {

/// One array of samples per channel, full scale = 1.
using Signal = std::vector<std::vector<float>>;

/// The samples of a signal frame after frame.
[[nodiscard]] std::vector<float> interleaved(const Signal& signal);

/// Writes a WAV file of 32-bit float samples.
void writeWav(const std::string& path, const Signal& signal, double sampleRate = 44100);

/// A count of frames that no file has.
constexpr std::int64_t kAll = std::int64_t{1} << 62;

/// Decodes the frames [start, start + count) of an open file, as many of them as there are.
///
/// @return nothing as with AudioFile::readBlocks
[[nodiscard]] std::optional<Signal> readSignal(AudioFile& file, std::int64_t start,
                                               std::int64_t count);

/// Decodes a whole file.
///
/// @return nothing where it cannot be opened or has a fault
[[nodiscard]] std::optional<Signal> readAll(const std::string& path);

/// The frames [start, start + count) of a signal, as many of them as there are.
[[nodiscard]] Signal part(const Signal& whole, std::int64_t start, std::int64_t count);

/// By how much samples differ at most from those of a whole from one of its frames on.
///
/// @throws std::out_of_range  they reach beyond its end
[[nodiscard]] double largestDifference(const std::vector<float>& part,
                                       const std::vector<float>& whole, std::int64_t from = 0);

/// The bytes of a file.
[[nodiscard]] std::string bytesOf(const std::string& path);

/// Writes any bytes.
void writeBytes(const std::string& path, const std::string& bytes);

/// A copy of bytes of which some are zeros.
[[nodiscard]] std::string withHole(std::string bytes, std::size_t at, std::size_t size);

/// Files of every kind of one sound, each made by ffmpeg when it is first asked for.
class MadeFiles {
 public:
  explicit MadeFiles(const Signal& sound, double sampleRate = 44100);

  /// The path of the sound itself, in 32-bit floats.
  [[nodiscard]] std::string source() const { return folder_.file("source.wav"); }

  /// The path of a file, its name being what encodes it, a codec or one of the kinds in the source,
  /// and a dot and the container.
  [[nodiscard]] std::string path(const std::string& name) const;

  /// The path of a changed copy of a file.
  [[nodiscard]] std::string changed(const std::string& name, const std::string& bytes) const {
    return folder_.write("changed-" + name, bytes).string();
  }

 private:
  TemporaryFolder folder_;
};

/// Runs a shell command and fails the test when it fails.
void run(const std::string& command);

/// A sum of sines of equal amplitude.
[[nodiscard]] std::vector<float> tones(const std::vector<double>& frequencies, double amplitude,
                                       std::size_t count, double sampleRate = 44100);

/// White noise with a fixed seed, evenly spread from -amplitude to amplitude.
[[nodiscard]] std::vector<float> noise(unsigned seed, double amplitude, std::size_t count);

/// One sound and behind it another.
[[nodiscard]] std::vector<float> joined(std::vector<float> first, const std::vector<float>& second);

/// What the user reads where an analysis fails; nothing where it does not.
template <typename Analysis>
[[nodiscard]] std::string refusalOf(const Analysis& analysis) {
  try {
    static_cast<void>(analysis());
    return "";
  } catch (const AnalysisError& error) {
    return error.errorDescription;
  }
}

}  // namespace brindlevane::testing
