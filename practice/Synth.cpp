#include "practice/Synth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace brindlevane::practice {
namespace {

constexpr std::size_t kTableLength = 2048;

struct Voice {
  std::string_view name;
  int partials;    // of the tone; 0 = noise alone
  double slope;    // partial k is k^-slope loud
  double noise;    // level of the noise beside the tone
  double attack;   // seconds, linear
  double decay;    // seconds to 1/e after the attack
  double release;  // seconds, linear, after the key is let go
  double dropHz;   // how far above its pitch the tone starts
  double width;    // each side has the tone a second time, this share lower left, higher right
  double pan;      // -1 left to 1 right
  double level;
};

constexpr std::array kVoices = {
    Voice{"chords", 8, 1.3, 0.0, 0.005, 0.6, 0.08, 0, 0.0015, 0.0, 0.16},
    Voice{"kick", 1, 0.0, 0.03, 0.001, 0.16, 0.15, 170, 0, 0.0, 0.95},
    Voice{"clap", 0, 0.0, 1.0, 0.002, 0.07, 0.15, 0, 0, 0.1, 0.42},
    Voice{"hat", 0, 0.0, 1.0, 0.001, 0.03, 0.10, 0, 0, -0.2, 0.30},
    Voice{"percussion", 3, 0.9, 0.1, 0.002, 0.07, 0.10, 60, 0, 0.5, 0.30},
    Voice{"bass", 10, 1.0, 0.0, 0.004, 0.35, 0.03, 0, 0, 0.0, 0.42},
    Voice{"sub", 1, 0.0, 0.0, 0.020, 4.0, 0.06, 0, 0, 0.0, 0.38},
    Voice{"pad", 6, 1.5, 0.004, 0.350, 6.0, 0.30, 0, 0.0025, 0.0, 0.15},
    Voice{"lead", 7, 1.1, 0.0, 0.005, 0.35, 0.10, 0, 0.0010, -0.3, 0.26},
    Voice{"vocal", 9, 0.8, 0.02, 0.050, 0.9, 0.10, 0, 0.0008, 0.25, 0.20},
    Voice{"fx", 0, 0.0, 1.0, 0.400, 2.0, 0.20, 0, 0, 0.0, 0.22},
};

using Table = std::array<float, kTableLength + 1>;

const Voice& voiceNamed(std::string_view name) {
  const auto* found = std::ranges::find(kVoices, name, &Voice::name);
  return found == kVoices.end() ? kVoices.front() : *found;
}

// One period of a voice's tone, its loudest point at 1.
Table periodOf(const Voice& voice) {
  Table table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    double sum = 0;
    for (int k = 1; k <= voice.partials; ++k) {
      const double phase = 2 * std::numbers::pi * k * static_cast<double>(i) / kTableLength;
      sum += std::sin(phase) * std::pow(k, -voice.slope);
    }
    table[i] = static_cast<float>(sum);
  }
  const float peak =
      std::abs(*std::ranges::max_element(table, {}, [](float v) { return std::abs(v); }));
  for (float& value : table) {
    value /= std::max(peak, 1e-9F);
  }
  return table;
}

const Table& tableOf(const Voice& voice) {
  static const std::vector<Table> kTables = [] {
    std::vector<Table> tables;
    std::ranges::transform(kVoices, std::back_inserter(tables), periodOf);
    return tables;
  }();
  return kTables[static_cast<std::size_t>(&voice - kVoices.data())];
}

double lookUp(const Table& table, double phase) {
  const double position = (phase - std::floor(phase)) * kTableLength;
  return table[static_cast<std::size_t>(position)];
}

// Noise from a hash of the frame number, so that it can be computed from any point on.
double noiseAt(std::int64_t frame, int channel) {
  auto x = static_cast<std::uint32_t>(frame * 2 + channel);
  x = (x ^ (x >> 16U)) * 0x7feb352dU;
  x = (x ^ (x >> 15U)) * 0x846ca68bU;
  return static_cast<double>(x ^ (x >> 16U)) / 2147483648.0 - 1;
}

double envelope(const Voice& voice, double seconds, double keyDown) {
  const double body = seconds < voice.attack ? seconds / voice.attack
                                             : std::exp((voice.attack - seconds) / voice.decay);
  return seconds < keyDown ? body : body * std::max(1 - (seconds - keyDown) / voice.release, 0.0);
}

}  // namespace

void addNote(Stereo& window, std::string_view voiceName, const Tone& tone, double gain) {
  const Voice& voice = voiceNamed(voiceName);
  const Table& table = tableOf(voice);
  const double hertz = 440 * std::exp2((tone.pitch - 69) / 12);
  const auto frames = static_cast<std::int64_t>(window.size() / 2);
  const auto length = static_cast<std::int64_t>((tone.seconds + voice.release) * kSampleRate);
  const double level = gain * tone.velocity * voice.level;
  constexpr double kDropRate = 30;  // per second
  for (std::int64_t i = std::max<std::int64_t>(tone.startFrame, 0);
       i < std::min(tone.startFrame + length, frames); ++i) {
    const std::int64_t age = i - tone.startFrame;
    const double t = static_cast<double>(age) / kSampleRate;
    const double loudness = level * envelope(voice, t, tone.seconds);
    const double cycles = hertz * t + voice.dropHz / kDropRate * (1 - std::exp(-kDropRate * t));
    for (int channel = 0; channel < 2; ++channel) {
      const int side = channel * 2 - 1;
      // The difference of two neighbours leaves the high part of the noise.
      const double hiss = noiseAt(age, channel) - 0.9 * noiseAt(age - 1, channel);
      const double doubled =
          lookUp(table, cycles) + lookUp(table, cycles * (1 + side * voice.width));
      const double sample = (doubled + voice.noise * hiss) / 2;
      window[static_cast<std::size_t>(i * 2 + channel)] +=
          static_cast<float>(loudness * (1 + side * voice.pan) * sample);
    }
  }
}

}  // namespace brindlevane::practice
