#pragma once

#include "platform/Json.h"
#include "practice/Synth.h"

#include <filesystem>
#include <map>
#include <string>

namespace brindlevane::practice {

/// The audio files of the practice set: on disk for the server, in memory for the renderer.
class AudioPool {
 public:
  /// @param folder  private folder that exists and outlives the pool
  explicit AudioPool(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Writes the sound as `name` + ".wav" and returns its absolute path.
  std::string add(const std::string& name, Stereo sound);

  /// Deletes a file that add() wrote.
  void remove(const std::string& path);

  /// The sound of a file that add() wrote, or nullptr.
  [[nodiscard]] const Stereo* find(const std::string& path) const;

 private:
  std::filesystem::path folder_;
  std::map<std::string, Stereo> sounds_;
};

/// Renders what the tracks of a set play: MIDI clips of a track with an instrument, audio clips
/// from the pool (another file is silent), faders, mutes and solos as they stand, looped clips
/// repeated. Sends feed no effect.
///
/// @param tracks     array of the set's tracks
/// @param tempo      beats per minute
/// @param startBeat  Arrangement position of the window's first frame
/// @param frames     length of the window
[[nodiscard]] Stereo render(const Json& tracks, const AudioPool& pool, double tempo,
                            double startBeat, std::size_t frames);

/// The master: the rendered tracks through a limiter that keeps them within full scale.
[[nodiscard]] Stereo renderMaster(const Json& tracks, const AudioPool& pool, double tempo,
                                  double startBeat, std::size_t frames);

}  // namespace brindlevane::practice
