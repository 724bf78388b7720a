#include "practice/Synth.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace brindlevane::practice {
namespace {

struct Voice {
  std::string_view name;
  double brightness;  // share of a saw tooth in the tone, the rest being near to a sine
  double noise;       // share of noise beside the tone
  double attack;      // seconds, linear
  double decay;       // seconds to 1/e after the attack
  double release;     // seconds, linear, after the key is let go
  double width;       // cycles by which the right side is ahead of the middle, the left behind it
  double level;
};

constexpr std::array kVoices = {
    Voice{"chords", 0.3, 0, 0.005, 0.6, 0.08, 0.04, 0.25},
    Voice{"kick", 0, 0.03, 0.001, 0.16, 0.15, 0, 0.95},
    Voice{"clap", 0, 1, 0.002, 0.07, 0.15, 0, 0.21},
    Voice{"hat", 0, 1, 0.001, 0.03, 0.1, 0, 0.15},
    Voice{"percussion", 0.3, 0.1, 0.002, 0.07, 0.1, 0.02, 0.3},
    Voice{"bass", 0.3, 0, 0.004, 0.35, 0.03, 0, 0.42},
    Voice{"sub", 0, 0, 0.02, 4, 0.06, 0, 0.38},
    Voice{"pad", 0.25, 0.002, 0.35, 6, 0.3, 0.06, 0.15},
    Voice{"lead", 0.4, 0, 0.005, 0.35, 0.1, 0.03, 0.26},
    Voice{"vocal", 0.4, 0.01, 0.05, 0.9, 0.1, 0.03, 0.2},
    Voice{"fx", 0, 1, 0.4, 2, 0.2, 0, 0.11},
};

const Voice& voiceNamed(std::string_view name) {
  const auto* found = std::ranges::find(kVoices, name, &Voice::name);
  return found == kVoices.end() ? kVoices.front() : *found;
}

// Parabolas that are near to a sine, and a saw tooth for what the voice is bright.
double toneAt(double cycles, double brightness) {
  const double x = 2 * (cycles - std::floor(cycles)) - 1;
  return (1 - brightness) * 4 * x * (1 - std::abs(x)) + brightness * x;
}

// Noise from a hash of the frame number, so that it can be computed from any point on.
double noiseAt(std::int64_t frame, int channel) {
  auto x = static_cast<std::uint32_t>(frame * 2 + channel);
  x = (x ^ (x >> 16U)) * 0x7feb352dU;
  x = (x ^ (x >> 15U)) * 0x846ca68bU;
  return static_cast<double>(x ^ (x >> 16U)) / 2147483648.0 - 1;
}

// The difference of two neighbours leaves the high part of the noise.
double hissAt(std::int64_t frame, int channel) {
  return noiseAt(frame, channel) - 0.9 * noiseAt(frame - 1, channel);
}

double envelope(const Voice& voice, double seconds, double keyDown) {
  const double body = seconds < voice.attack ? seconds / voice.attack
                                             : std::exp((voice.attack - seconds) / voice.decay);
  return seconds < keyDown ? body : body * std::max(1 - (seconds - keyDown) / voice.release, 0.0);
}

}  // namespace

void addNote(Stereo& window, std::string_view voiceName, const Tone& tone, double gain) {
  const Voice& voice = voiceNamed(voiceName);
  const double hertz = 440 * std::exp2((tone.pitch - 69) / 12);
  const auto frames = static_cast<std::int64_t>(window.size() / 2);
  const auto length = static_cast<std::int64_t>((tone.seconds + voice.release) * kSampleRate);
  const double level = gain * tone.velocity * voice.level;
  for (std::int64_t i = std::max<std::int64_t>(tone.startFrame, 0);
       i < std::min(tone.startFrame + length, frames); ++i) {
    const std::int64_t age = i - tone.startFrame;
    const double t = static_cast<double>(age) / kSampleRate;
    const double loudness = level * envelope(voice, t, tone.seconds);
    for (int channel = 0; channel < 2; ++channel) {
      const double wave = toneAt(hertz * t + (channel * 2 - 1) * voice.width, voice.brightness);
      window[static_cast<std::size_t>(i * 2 + channel)] += static_cast<float>(
          loudness * ((1 - voice.noise) * wave + voice.noise * hissAt(age, channel)));
    }
  }
}

}  // namespace brindlevane::practice
