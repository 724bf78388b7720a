#include "practice/Renderer.h"

#include "support/Wav.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::practice {
namespace {

struct Window {
  Stereo& sound;
  double startBeat;
  double framesPerBeat;
};

bool hasInstrument(const Json& track) {
  return std::ranges::any_of(track["devices"],
                             [](const Json& device) { return device["isInstrument"] == true; });
}

void addMidiClip(Window& window, const Json& clip, const std::string& voice, double gain) {
  const double length = clip["length"];
  const double loopLength = clip["loopLength"];
  const int loops = static_cast<int>(std::ceil(length / loopLength));
  for (int loop = 0; loop < loops; ++loop) {
    for (const Json& note : clip["notes"]) {
      const double beat = loop * loopLength + note["startTime"].get<double>();
      if (note["startTime"] >= loopLength || beat >= length || note.value("mute", false)) {
        continue;
      }
      const double from = clip["startTime"].get<double>() + beat - window.startBeat;
      const double beats = std::min(note["duration"].get<double>(), length - beat);
      addNote(window.sound, voice,
              {.pitch = note["pitch"],
               .velocity = note["velocity"].get<double>() / 127,
               .startFrame = std::llround(from * window.framesPerBeat),
               .seconds = beats * window.framesPerBeat / kSampleRate},
              gain);
    }
  }
}

void addAudioClip(Window& window, const Json& clip, const Stereo& source, double gain) {
  const double start = (clip["startTime"].get<double>() - window.startBeat) * window.framesPerBeat;
  const double loopFrames = clip["loopLength"].get<double>() * window.framesPerBeat;
  const double end = start + clip["length"].get<double>() * window.framesPerBeat;
  const double rate = std::exp2(clip["transposeSemitones"].get<double>() / 12);
  const auto last = std::min(window.sound.size() / 2, static_cast<std::size_t>(std::max(end, 0.0)));
  for (auto i = static_cast<std::size_t>(std::max(std::ceil(start), 0.0)); i < last; ++i) {
    const double position = std::fmod(static_cast<double>(i) - start, loopFrames) * rate;
    const auto before = static_cast<std::size_t>(position) * 2;
    if (before + 3 >= source.size()) {
      continue;
    }
    const double share = position - std::floor(position);
    for (std::size_t channel = 0; channel < 2; ++channel) {
      const double sample =
          source[before + channel] * (1 - share) + source[before + 2 + channel] * share;
      window.sound[i * 2 + channel] += static_cast<float>(gain * sample);
    }
  }
}

}  // namespace

std::string AudioPool::add(const std::string& name, Stereo sound) {
  std::string path = (folder_ / (name + ".wav")).string();
  writeWav(path, sound, 2, kSampleRate);
  sounds_[path] = std::move(sound);
  return path;
}

void AudioPool::remove(const std::string& path) {
  if (sounds_.erase(path) == 1) {
    std::filesystem::remove(path);
  }
}

const Stereo* AudioPool::find(const std::string& path) const {
  const auto found = sounds_.find(path);
  return found == sounds_.end() ? nullptr : &found->second;
}

Stereo render(const Json& tracks, const AudioPool& pool, double tempo, double startBeat,
              std::size_t frames) {
  Stereo sound(frames * 2);
  Window window{sound, startBeat, kSampleRate * 60.0 / tempo};
  const bool solo =
      std::ranges::any_of(tracks, [](const Json& track) { return track["solo"].get<bool>(); });
  for (const Json& track : tracks) {
    if (track["mute"] || (solo && !track["solo"])) {
      continue;
    }
    const double gain = std::pow(10, track["volumeDb"].get<double>() / 20);
    for (const Json& clip : track["clips"]) {
      if (clip.contains("notes")) {
        if (hasInstrument(track)) {
          addMidiClip(window, clip, track["role"], gain);
        }
      } else if (const Stereo* source = pool.find(clip["filePath"])) {
        addAudioClip(window, clip, *source, gain);
      }
    }
  }
  return sound;
}

Stereo renderMaster(const Json& tracks, const AudioPool& pool, double tempo, double startBeat,
                    std::size_t frames) {
  Stereo sound = render(tracks, pool, tempo, startBeat, frames);
  std::ranges::transform(sound, sound.begin(), [](float sample) { return std::tanh(sample); });
  return sound;
}

}  // namespace brindlevane::practice
