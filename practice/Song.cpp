#include "practice/Song.h"

#include "practice/Sound.h"
#include "support/Wav.h"

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

// Four bars in F sharp minor: F sharp minor, B minor, C sharp, F sharp minor.
constexpr std::array kBars = {Chord{30, {54, 57, 61}}, Chord{35, {54, 59, 62}},
                              Chord{37, {53, 56, 61}}, Chord{30, {54, 57, 61}}};

enum class Plays { pitch, root, chord };

// What a track plays, as samples and workflows know it, and its phrase.
struct Role {
  std::string_view name;
  std::string_view label;  // what organising and arrangements call such tracks
  std::string_view color;  // of all with this label
  Plays plays;             // the same pitch, a bar long, or what goes with the four chords
  int pitch;               // or semitones above the root
  std::string_view steps;  // sixteenths of a bar: X, x, o a note (loud to soft), - prolongs it
};

constexpr std::array kRoles = {
    Role{"kick", "Kick", "#d9433b", Plays::pitch, 42, "X...x...X...x..."},
    Role{"clap", "Clap", "#e0703a", Plays::pitch, 39, "....x.......X..."},
    Role{"hat", "Hats", "#e09a3a", Plays::pitch, 42, "..x...x...X..ox."},
    Role{"percussion", "Percussion", "#d9b93b", Plays::pitch, 66, "x..o..x..o..X..."},
    Role{"bass", "Bass", "#3b6fd9", Plays::root, 12, "..X-..x-o.X-..x-"},
    Role{"sub", "Bass", "#3b6fd9", Plays::root, 12, "x---------------"},
    Role{"chords", "Chords", "#3fae6a", Plays::chord, 0, "X-.o..x-..X--..."},
    Role{"pad", "Chords", "#3fae6a", Plays::chord, 0, "x---------------"},
    Role{"lead", "Lead", "#7d54d6", Plays::root, 36, "X-.o..x-..X---.."},
    Role{"vocal", "Vocal", "#c54f9e", Plays::root, 24, "....x--....o-..."},
    Role{"fx", "FX", "#4aa8b8", Plays::pitch, 66, "x---x---x---x---"},
    Role{"spare", "Spare", "#8c8c8c", Plays::pitch, 0, "................"},
    Role{"", "", "#8c8c8c", Plays::pitch, 0, "................"},
};

// The last role is that of a track that has none.
const Role& roleNamed(std::string_view name) {
  const auto* const found = std::ranges::find(kRoles, name, &Role::name);
  return found == kRoles.end() ? kRoles.back() : *found;
}

std::vector<int> pitchesOf(const Role& role, const Chord& chord) {
  switch (role.plays) {
    case Plays::pitch:
      return {role.pitch};
    case Plays::root:
      return {chord.root + role.pitch};
    default:
      return {chord.tones.begin(), chord.tones.end()};
  }
}

// A clip that repeats the phrase of a role.
Json phraseClip(const std::string& name, double startTime, const Role& role, int transpose) {
  const std::size_t bars = role.plays == Plays::pitch ? 1 : kBars.size();
  Json clip = emptyClip(name, startTime, static_cast<double>(bars * 4));
  for (std::size_t i = 0; i < bars * 16; ++i) {
    const std::size_t place = i % 16;
    const char step = role.steps[place];
    const int velocity = step == 'X' ? 116 : step == 'x' ? 98 : step == 'o' ? 70 : 0;
    const std::size_t end = std::min<std::size_t>(role.steps.find_first_not_of('-', place + 1), 16);
    for (const int pitch : pitchesOf(role, kBars[i / 16])) {
      if (velocity > 0) {
        clip["notes"].push_back({{"pitch", pitch + transpose},
                                 {"startTime", static_cast<double>(i) / 4},
                                 {"duration", static_cast<double>(end - place) / 4},
                                 {"velocity", velocity}});
      }
    }
  }
  return clip;
}

struct Track {
  const char* name;
  const char* kind;
  std::string_view role;
  double volumeDb;
  std::array<double, 2> sendsDb;
  const char* clip;   // nullptr: none
  int transpose = 0;  // of an audio clip
};

constexpr std::array kTracks = std::to_array<Track>({
    {"1-MIDI", "midi", "kick", -7, {-70, -70}, "Four on the floor"},
    {"Clap", "midi", "clap", -9, {-18, -70}, "Backbeat"},
    {"Audio 3", "audio", "hat", -11, {-70, -70}, "Offbeat hats 124bpm"},
    {"Perc loop copy", "midi", "percussion", -13, {-24, -20}, "Conga 3-3-2"},
    {"bass final", "midi", "bass", -8, {-70, -70}, "Rolling bass"},
    {"Sub", "midi", "sub", -7, {-70, -70}, "Sub roots"},
    {"7-Wavetable", "midi", "chords", -5, {-16, -22}, "Chord stabs"},
    {"Harbour", "audio", "pad", -5, {-20, -70}, "Pad Em 110bpm", 2},
    {"lead??", "midi", "lead", -9, {-18, -16}, "Ferry hook"},
    {"Audio 10", "audio", "vocal", 1.5, {-14, -18}, "Vox chop"},
    {"Riser", "audio", "fx", -14, {-22, -70}, "Night swells"},
    {"Audio 12", "audio", "spare", 0, {-70, -70}, nullptr},
});

// The instrument of a MIDI track, or the effect of an audio track.
Json deviceOf(std::string_view kind) {
  const bool isInstrument = kind == "midi";
  const Json parameter = isInstrument ? Json{{"name", "Filter Freq"},
                                             {"minimum", 20},
                                             {"maximum", 20000},
                                             {"value", 620},
                                             {"unit", "Hz"}}
                                      : Json{{"name", "Stereo Width"},
                                             {"minimum", 0},
                                             {"maximum", 400},
                                             {"value", 130},
                                             {"unit", "%"}};
  return {{"name", isInstrument ? "Operator" : "Utility"},
          {"isInstrument", isInstrument},
          {"parameters", Json::array({parameter})}};
}

Json busNamed(const char* name) {
  return {{"name", name}, {"volumeDb", 0}, {"devices", Json::array()}};
}

Json emptySet(const char* project) {
  return {{"project", project},           {"tempo", kTempo},
          {"timeSignature", "4/4"},       {"projectScale", {{"root", "F#"}, {"name", "Minor"}}},
          {"tracks", Json::array()},      {"returns", {busNamed("A Reverb"), busNamed("B Delay")}},
          {"master", busNamed("Master")}, {"locators", Json::array()},
          {"selectedTrack", 0},           {"selectedClip", 0}};
}

}  // namespace

Json nightFerry(const std::filesystem::path& audioFolder) {
  Json set = emptySet("Night Ferry");
  for (const Track& row : kTracks) {
    Json track = emptyTrack(row.name, row.kind, row.role);
    track.update({{"volumeDb", row.volumeDb},
                  {"sends", row.sendsDb},
                  {"devices", Json::array({deviceOf(row.kind)})}});
    if (row.clip != nullptr) {
      Json clip = track["kind"] == "midi"
                      ? phraseClip(row.clip, 0, roleNamed(row.role), 0)
                      : audioClip(row.clip, 0, row.role, row.transpose, audioFolder);
      clip["length"] = kSongBeats;
      track["clips"].push_back(clip);
    }
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

std::string labelOf(const Json& track) {
  return std::string(roleNamed(track["role"].get<std::string>()).label);
}

std::string colorOf(const Json& track) {
  return std::string(roleNamed(track["role"].get<std::string>()).color);
}

Json emptyTrack(const std::string& name, const std::string& kind, std::string_view role) {
  return {{"name", name},           {"kind", kind},        {"role", role},
          {"mute", false},          {"solo", false},       {"arm", false},
          {"volumeDb", 0},          {"sends", {-70, -70}}, {"devices", Json::array()},
          {"clips", Json::array()}, {"color", "#8c8c8c"}};
}

Json emptyClip(const std::string& name, double startTime, double length) {
  return {{"name", name},         {"startTime", startTime}, {"length", length},
          {"loopLength", length}, {"notes", Json::array()}, {"color", "#8c8c8c"}};
}

Json audioClip(const std::string& name, double startTime, std::string_view role, int transpose,
               const std::filesystem::path& audioFolder) {
  Json recorded = emptyTrack("", "audio", role);
  recorded["clips"].push_back(phraseClip("", 0, roleNamed(role), -transpose));
  const double tempo = kTempo / std::exp2(transpose / 12.0);
  const double seconds = recorded["clips"][0]["length"].get<double>() * 60 / tempo;
  const auto frames = static_cast<std::size_t>(std::llround(seconds * kSampleRate));
  const std::string path = (audioFolder / (name + ".wav")).string();
  writeWav(path, renderTrack(recorded, {.tempo = tempo, .startBeat = 0, .frames = frames}), 2,
           kSampleRate);
  Json clip = phraseClip(name, startTime, roleNamed(role), 0);
  clip.update({{"transposeSemitones", transpose}, {"fileSeconds", seconds}, {"filePath", path}});
  return clip;
}

}  // namespace brindlevane::practice
