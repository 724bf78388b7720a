#include "practice/Renderer.h"

#include "support/Wav.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace brindlevane::practice {
namespace {

double framesPerBeat(const Window& window) {
  return kSampleRate * 60.0 / window.tempo;
}

bool hasInstrument(const Json& track) {
  return std::ranges::any_of(track["devices"],
                             [](const Json& device) { return device["isInstrument"] == true; });
}

void addMidiClip(Stereo& sound, const Window& window, const Json& clip, const std::string& voice,
                 double gain) {
  const double length = clip["length"];
  const double loopLength = clip["loopLength"];
  for (double loopStart = 0; loopStart < length; loopStart += loopLength) {
    for (const Json& note : clip["notes"]) {
      const double beat = loopStart + note["startTime"].get<double>();
      if (note["startTime"] >= loopLength || beat >= length || note.value("mute", false)) {
        continue;
      }
      const double from = clip["startTime"].get<double>() + beat - window.startBeat;
      const double beats = std::min(note["duration"].get<double>(), length - beat);
      addNote(sound, voice,
              {.pitch = note["pitch"],
               .velocity = note["velocity"].get<double>() / 127,
               .startFrame = std::llround(from * framesPerBeat(window)),
               .seconds = beats * 60 / window.tempo},
              gain);
    }
  }
}

void addAudioClip(Stereo& sound, const Window& window, const Json& clip, const Stereo& source,
                  double gain) {
  const double start = (clip["startTime"].get<double>() - window.startBeat) * framesPerBeat(window);
  const double end = start + clip["length"].get<double>() * framesPerBeat(window);
  const double loopFrames = clip["loopLength"].get<double>() * framesPerBeat(window);
  const double rate = std::exp2(clip["transposeSemitones"].get<double>() / 12);
  const auto last = std::min(window.frames, static_cast<std::size_t>(std::max(end, 0.0)));
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
      sound[i * 2 + channel] += static_cast<float>(gain * sample);
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

bool isHeard(const Json& track, const Json& tracks) {
  const bool anySolo =
      std::ranges::any_of(tracks, [](const Json& each) { return each["solo"].get<bool>(); });
  return track["mute"] == false && (!anySolo || track["solo"] == true);
}

Stereo renderTrack(const Json& track, const AudioPool& pool, const Window& window) {
  Stereo sound(window.frames * 2);
  const double gain = std::pow(10, track["volumeDb"].get<double>() / 20);
  for (const Json& clip : track["clips"]) {
    if (clip.contains("notes")) {
      if (hasInstrument(track)) {
        addMidiClip(sound, window, clip, track["role"], gain);
      }
    } else if (const Stereo* source = pool.find(clip["filePath"])) {
      addAudioClip(sound, window, clip, *source, gain);
    }
  }
  return sound;
}

Stereo renderMaster(const Json& tracks, const AudioPool& pool, const Window& window) {
  Stereo sum(window.frames * 2);
  for (const Json& track : tracks) {
    if (isHeard(track, tracks)) {
      std::ranges::transform(sum, renderTrack(track, pool, window), sum.begin(), std::plus<>());
    }
  }
  std::ranges::transform(sum, sum.begin(), [](float sample) { return std::tanh(sample); });
  return sum;
}

}  // namespace brindlevane::practice
