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

/// A stretch of the Arrangement that is rendered.
struct Window {
  double tempo;        ///< beats per minute
  double startBeat;    ///< of the first frame
  std::size_t frames;  ///< length
};

/// Whether a track is among those that sound, as mutes and solos stand.
[[nodiscard]] bool isHeard(const Json& track, const Json& tracks);

/// Renders what a track plays behind its fader: MIDI clips when it has an instrument, audio clips
/// from the pool (another file is silent), looped clips repeated.
[[nodiscard]] Stereo renderTrack(const Json& track, const AudioPool& pool, const Window& window);

/// The master: the tracks that are heard, through a limiter that keeps them within full scale.
/// Sends feed no effect.
[[nodiscard]] Stereo renderMaster(const Json& tracks, const AudioPool& pool, const Window& window);

}  // namespace brindlevane::practice
