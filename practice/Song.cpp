#include "practice/Song.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace brindlevane::practice {
namespace {

constexpr double kTempo = 124;
constexpr double kSongBeats = 64;

struct Chord {
  int root;
  std::array<int, 3> tones;
};

// Sixteen bars in F sharp minor.
constexpr Chord kFsm{30, {54, 57, 61}}, kD{38, {54, 57, 62}}, kBm{35, {54, 59, 62}},
    kCs{37, {53, 56, 61}}, kA{33, {52, 57, 61}};
constexpr std::array kBars = {kFsm, kFsm, kD, kCs, kFsm, kFsm, kBm, kCs,
                              kFsm, kA,   kD, kCs, kFsm, kBm,  kCs, kFsm};

enum class Pitch { fixed, root, chord, melody };

struct Phrase {
  std::string_view role;
  std::size_t bars;
  Pitch pitch;
  int offset;              // semitones above the chord, or the fixed pitch
  std::string_view steps;  // sixteenths of a bar: X, x, o a note (loud to soft), - prolongs it
};

constexpr std::array kPhrases = {
    Phrase{"kick", 1, Pitch::fixed, 37, "X...x...X...x..."},
    Phrase{"clap", 1, Pitch::fixed, 39, "....x.......X..."},
    Phrase{"hat", 1, Pitch::fixed, 42, "..x...x...X..ox."},
    Phrase{"percussion", 1, Pitch::fixed, 66, "x..o..x..o..X..."},
    Phrase{"bass", 16, Pitch::root, 12, "..X-..x-o.X-..x-"},
    Phrase{"sub", 16, Pitch::root, 12, "x---------------"},
    Phrase{"chords", 16, Pitch::chord, 0, "X-.o..x-..X--..."},
    Phrase{"pad", 16, Pitch::chord, 0, "x---------------"},
    Phrase{"lead", 16, Pitch::melody, 24, "X-.o..x-..X---.."},
    Phrase{"vocal", 16, Pitch::melody, 12, "....x--....o-..."},
    Phrase{"fx", 4, Pitch::fixed, 60, "x---x---x---x---"},
};

const Phrase& phraseOf(std::string_view role) {
  return *std::ranges::find(kPhrases, role, &Phrase::role);
}

std::vector<int> pitchesOf(const Phrase& phrase, const Chord& chord, std::size_t noteCount) {
  switch (phrase.pitch) {
    case Pitch::fixed:
      return {phrase.offset};
    case Pitch::root:
      return {chord.root + phrase.offset};
    case Pitch::melody:
      return {chord.tones[noteCount % 3] + phrase.offset};
    default:
      return {chord.tones.begin(), chord.tones.end()};
  }
}

Json notesOf(const Phrase& phrase, int transpose) {
  Json notes = Json::array();
  for (std::size_t i = 0; i < phrase.bars * 16; ++i) {
    const std::size_t place = i % 16;
    const char step = phrase.steps[place];
    const int velocity = step == 'X' ? 116 : step == 'x' ? 98 : step == 'o' ? 70 : 0;
    if (velocity == 0) {
      continue;
    }
    const std::size_t end =
        std::min<std::size_t>(phrase.steps.find_first_not_of('-', place + 1), 16);
    for (const int pitch : pitchesOf(phrase, kBars[i / 16], notes.size())) {
      notes.push_back({{"pitch", pitch + transpose},
                       {"startTime", static_cast<double>(i) / 4},
                       {"duration", static_cast<double>(end - place) / 4},
                       {"velocity", velocity}});
    }
  }
  return notes;
}

struct Parameter {
  std::string_view device;
  std::string_view name;
  double minimum;
  double maximum;
  double value;
  std::string_view unit;
};

constexpr std::array kParameters = {
    Parameter{"Drum Rack", "Punch", 0, 127, 64, ""},
    Parameter{"Operator", "Filter Freq", 20, 20000, 620, "Hz"},
    Parameter{"Wavetable", "Osc 1 Pos", 0, 100, 37, "%"},
    Parameter{"Auto Filter", "Frequency", 20, 20000, 4200, "Hz"},
    Parameter{"Compressor", "Threshold", -70, 6, -18, "dB"},
    Parameter{"EQ Eight", "1 Frequency A", 10, 22000, 30, "Hz"},
    Parameter{"Utility", "Stereo Width", 0, 400, 130, "%"},
    Parameter{"Reverb", "Decay Time", 200, 60000, 2600, "ms"},
    Parameter{"Delay", "Feedback", 0, 95, 38, "%"},
    Parameter{"Limiter", "Ceiling", -24, 0, -0.3, "dB"},
};
constexpr std::array<std::string_view, 3> kInstruments = {"Drum Rack", "Operator", "Wavetable"};

using Devices = std::array<std::string_view, 2>;  // an empty name: none

struct Track {
  const char* name;
  const char* kind;
  std::string_view role;
  double volumeDb;
  std::array<double, 2> sendsDb;
  Devices devices;
  const char* clip;   // nullptr: none
  int transpose = 0;  // of an audio clip
};

constexpr std::array kTracks = std::to_array<Track>({
    {"1-MIDI", "midi", "kick", -7, {-70, -70}, {"Drum Rack", "EQ Eight"}, "Four on the floor"},
    {"Clap", "midi", "clap", -9, {-18, -70}, {"Drum Rack"}, "Backbeat"},
    {"Audio 3", "audio", "hat", -11, {-70, -70}, {"Auto Filter"}, "Offbeat hats 124bpm"},
    {"Perc loop copy", "midi", "percussion", -13, {-24, -20}, {"Drum Rack"}, "Conga 3-3-2"},
    {"bass final", "midi", "bass", -8, {-70, -70}, {"Operator", "Compressor"}, "Rolling bass"},
    {"Sub", "midi", "sub", -7, {-70, -70}, {"Operator"}, "Sub roots"},
    {"7-Wavetable", "midi", "chords", -5, {-16, -22}, {"Wavetable", "Delay"}, "Chord stabs"},
    {"Harbour", "audio", "pad", -5, {-20, -70}, {"Auto Filter", "Utility"}, "Pad Em 110bpm", 2},
    {"lead??", "midi", "lead", -9, {-18, -16}, {"Wavetable"}, "Ferry hook"},
    {"Audio 10", "audio", "vocal", 1.5, {-14, -18}, {"EQ Eight"}, "Vox chop"},
    {"Riser", "audio", "fx", -14, {-22, -70}, {}, "Night swells"},
    {"Audio 12", "audio", "spare", 0, {-70, -70}, {}, nullptr},
});

constexpr std::array kRoles = {
    Role{"kick", "Kick", "#d9433b"},   Role{"clap", "Clap", "#e0703a"},
    Role{"hat", "Hats", "#e09a3a"},    Role{"percussion", "Percussion", "#d9b93b"},
    Role{"vocal", "Vocal", "#c54f9e"}, Role{"bass", "Bass", "#3b6fd9"},
    Role{"sub", "Bass", "#3b6fd9"},    Role{"chords", "Chords", "#3fae6a"},
    Role{"pad", "Chords", "#3fae6a"},  Role{"lead", "Lead", "#7d54d6"},
    Role{"fx", "FX", "#4aa8b8"},       Role{"spare", "Spare", "#8c8c8c"},
};

Json devicesNamed(const Devices& names) {
  Json devices = Json::array();
  for (const std::string_view name : names) {
    if (name.empty()) {
      continue;
    }
    Json parameters = Json::array();
    for (const Parameter& row : kParameters) {
      if (row.device == name) {
        parameters.push_back({{"name", row.name},
                              {"minimum", row.minimum},
                              {"maximum", row.maximum},
                              {"value", row.value},
                              {"unit", row.unit}});
      }
    }
    devices.push_back({{"name", name},
                       {"isInstrument", std::ranges::count(kInstruments, name) > 0},
                       {"parameters", parameters}});
  }
  return devices;
}

Json clipsOf(const Track& row, AudioPool& pool) {
  if (row.clip == nullptr) {
    return Json::array();
  }
  const Phrase& phrase = phraseOf(row.role);
  Json clip = emptyClip(row.clip, 0, kSongBeats);
  if (row.kind == std::string_view("audio")) {
    // Recorded lower and slower by what the clip's transposition makes up for.
    const double tempo = kTempo / std::exp2(row.transpose / 12.0);
    clip = audioClip(row.clip, 0, renderPhrase(row.role, tempo, -row.transpose), kTempo, pool);
    clip.update({{"length", kSongBeats}, {"transposeSemitones", row.transpose}});
  } else {
    clip["notes"] = notesOf(phrase, 0);
  }
  clip["loopLength"] = phrase.bars * 4;
  return Json::array({clip});
}

Json busNamed(const char* name, std::string_view device) {
  return {{"name", name}, {"volumeDb", 0}, {"devices", devicesNamed({device})}};
}

Json emptySet(const char* project) {
  return {{"project", project},
          {"tempo", kTempo},
          {"timeSignature", "4/4"},
          {"projectScale", {{"root", "F#"}, {"name", "Minor"}}},
          {"tracks", Json::array()},
          {"returns", {busNamed("A Reverb", "Reverb"), busNamed("B Delay", "Delay")}},
          {"master", busNamed("Master", "Limiter")},
          {"locators", Json::array()},
          {"selectedTrack", 0},
          {"selectedClip", 0}};
}

}  // namespace

Json nightFerry(AudioPool& pool) {
  Json set = emptySet("Night Ferry");
  for (const Track& row : kTracks) {
    Json track = emptyTrack(row.name, row.kind, row.role);
    track.update({{"volumeDb", row.volumeDb},
                  {"sends", row.sendsDb},
                  {"devices", devicesNamed(row.devices)},
                  {"clips", clipsOf(row, pool)}});
    set["tracks"].push_back(track);
  }
  return set;
}

Json setOfFiles(const std::vector<std::string>& files) {
  Json set = emptySet("Your files");
  for (const std::string& file : files) {
    const std::string name = "File " + std::to_string(set["tracks"].size() + 1);
    Json clip = emptyClip(name, 0, kSongBeats);
    clip.update({{"transposeSemitones", 0}, {"filePath", file}});
    Json track = emptyTrack(name, "audio", "");
    track["clips"].push_back(clip);
    set["tracks"].push_back(track);
  }
  return set;
}

const Role* roleOf(const Json& track) {
  const auto* const found =
      std::ranges::find(kRoles, track["role"].get_ref<const std::string&>(), &Role::name);
  return found == kRoles.end() ? nullptr : found;
}

Json emptyTrack(const std::string& name, const std::string& kind, std::string_view role) {
  return {{"name", name},           {"kind", kind},        {"role", role},
          {"mute", false},          {"solo", false},       {"arm", false},
          {"volumeDb", 0},          {"sends", {-70, -70}}, {"devices", Json::array()},
          {"clips", Json::array()}, {"color", "#8c8c8c"}};
}

Json emptyClip(const std::string& name, double startTime, double length) {
  return {{"name", name},
          {"startTime", startTime},
          {"length", length},
          {"loopLength", length},
          {"color", "#8c8c8c"}};
}

Json audioClip(const std::string& name, double startTime, const Stereo& sound, double tempo,
               AudioPool& pool) {
  const double seconds = static_cast<double>(sound.size()) / 2 / kSampleRate;
  Json clip = emptyClip(name, startTime, seconds * tempo / 60);
  clip.update(
      {{"transposeSemitones", 0}, {"fileSeconds", seconds}, {"filePath", pool.add(name, sound)}});
  return clip;
}

Stereo renderPhrase(std::string_view role, double tempo, int transpose) {
  const Phrase& phrase = phraseOf(role);
  const auto beats = static_cast<double>(phrase.bars * 4);
  Json track = emptyTrack("", "midi", role);
  track["devices"] = devicesNamed({kInstruments.front()});
  track["clips"].push_back(emptyClip("", 0, beats));
  track["clips"][0]["notes"] = notesOf(phrase, transpose);
  const auto frames = static_cast<std::size_t>(std::llround(beats * 60 / tempo * kSampleRate));
  return renderTrack(track, AudioPool({}), {.tempo = tempo, .startBeat = 0, .frames = frames});
}

}  // namespace brindlevane::practice
