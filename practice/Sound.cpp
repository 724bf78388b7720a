#include "practice/Sound.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>

namespace brindlevane::practice {
namespace {

// What the notes of a role sound like; the roles that are not named sound like the first.
struct Voice {
  std::string_view role;
  double noise;  // share of noise beside the tone
  double decay;  // seconds to 1/e after the attack
};

constexpr std::array kVoices = {
    Voice{"", 0, 0.6},       Voice{"kick", 0, 0.16},         Voice{"clap", 0.6, 0.07},
    Voice{"hat", 0.6, 0.03}, Voice{"percussion", 0.1, 0.07}, Voice{"fx", 0.6, 2}};

constexpr double kLevel = 0.4;     // of the loudest note
constexpr double kWidth = 0.03;    // cycles by which the right side is ahead, the left behind
constexpr double kAttack = 0.005;  // seconds, linear
constexpr double kRelease = 0.08;  // seconds, linear, after the key is let go

struct Tone {
  const Voice& voice;
  double hertz;
  double level;
  std::int64_t startFrame;  // within the window; may lie before it or behind it
  double seconds;           // time until the key is let go
};

// Noise from a hash of the frame number, so that it can be computed from any point on.
double noiseAt(std::int64_t frame) {
  auto x = static_cast<std::uint32_t>(frame);
  x = (x ^ (x >> 16U)) * 0x7feb352dU;
  x = (x ^ (x >> 15U)) * 0x846ca68bU;
  return static_cast<double>(x ^ (x >> 16U)) / 2147483648.0 - 1;
}

// Parabolas that are near to a sine, with some of a saw tooth.
double toneAt(double cycles) {
  const double x = 2 * (cycles - std::floor(cycles)) - 1;
  return 2.8 * x * (1 - std::abs(x)) + 0.3 * x;
}

double envelope(double decay, double seconds, double keyDown) {
  const double body = seconds < kAttack ? seconds / kAttack : std::exp((kAttack - seconds) / decay);
  return body * std::clamp(1 - (seconds - keyDown) / kRelease, 0.0, 1.0);
}

// A note is a closed formula of the time since its start, without a filter that remembers, so a
// piece of music rendered in several windows is the same as when rendered in one.
void addNote(Stereo& window, const Tone& tone) {
  const auto frames = static_cast<std::int64_t>(window.size() / 2);
  const auto length = static_cast<std::int64_t>((tone.seconds + kRelease) * kSampleRate);
  for (std::int64_t i = std::max<std::int64_t>(tone.startFrame, 0);
       i < std::min(tone.startFrame + length, frames); ++i) {
    const std::int64_t age = i - tone.startFrame;
    const double t = static_cast<double>(age) / kSampleRate;
    const double loudness = tone.level * envelope(tone.voice.decay, t, tone.seconds);
    for (int channel = 0; channel < 2; ++channel) {
      const double wave = toneAt(tone.hertz * t + (channel * 2 - 1) * kWidth);
      const double noise = noiseAt(age * 2 + channel);
      window[static_cast<std::size_t>(i * 2 + channel)] +=
          static_cast<float>(loudness * ((1 - tone.voice.noise) * wave + tone.voice.noise * noise));
    }
  }
}

void addClip(Stereo& sound, const Window& window, const Json& clip, const Voice& voice,
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
      addNote(sound, {.voice = voice,
                      .hertz = 440 * std::exp2((note["pitch"].get<double>() - 69) / 12),
                      .level = gain * kLevel * note["velocity"].get<double>() / 127,
                      .startFrame = std::llround(from * 60 / window.tempo * kSampleRate),
                      .seconds = beats * 60 / window.tempo});
    }
  }
}

}  // namespace

bool isHeard(const Json& track, const Json& tracks) {
  const bool anySolo =
      std::ranges::any_of(tracks, [](const Json& each) { return each["solo"].get<bool>(); });
  return track["mute"] == false && (!anySolo || track["solo"] == true);
}

Stereo renderTrack(const Json& track, const Window& window) {
  Stereo sound(window.frames * 2);
  const bool hasInstrument = std::ranges::any_of(
      track["devices"], [](const Json& device) { return device["isInstrument"] == true; });
  if (track["kind"] == "midi" && !hasInstrument) {
    return sound;
  }
  const auto* found =
      std::ranges::find(kVoices, track["role"].get<std::string_view>(), &Voice::role);
  const Voice& voice = found == kVoices.end() ? kVoices.front() : *found;
  for (const Json& clip : track["clips"]) {
    addClip(sound, window, clip, voice, std::pow(10, track["volumeDb"].get<double>() / 20));
  }
  return sound;
}

Stereo renderMaster(const Json& tracks, const Window& window) {
  Stereo sum(window.frames * 2);
  for (const Json& track : tracks) {
    if (isHeard(track, tracks)) {
      std::ranges::transform(sum, renderTrack(track, window), sum.begin(), std::plus<>());
    }
  }
  std::ranges::transform(sum, sum.begin(), [](float sample) { return std::tanh(sample); });
  return sum;
}

}  // namespace brindlevane::practice
