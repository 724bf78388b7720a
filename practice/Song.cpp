#include "practice/Song.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

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
constexpr std::array kBars = {kFsm, kFsm, kD, kD, kCs, kCs, kFsm, kFsm,
                              kFsm, kA,   kD, kD, kBm, kBm, kCs,  kFsm};

enum class Pitch { fixed, root, chord, melody };

struct Phrase {
  std::string_view voice;
  std::size_t bars;
  Pitch pitch;
  int offset;              // semitones above the chord, or the fixed pitch
  std::string_view steps;  // sixteenths of a bar: X, x, o a note (loud to soft), - prolongs it
};

constexpr std::array kPhrases = {
    Phrase{"kick", 1, Pitch::fixed, 30, "X...x...X...x..."},
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

const Phrase* phraseOf(const std::string& voice) {
  const auto* const found = std::ranges::find(kPhrases, voice, &Phrase::voice);
  return found == kPhrases.end() ? nullptr : found;
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

// Name, least and greatest value, value and unit of each device's parameters.
const Json& deviceTable() {
  static const Json kTable = Json::parse(R"({
    "Drum Rack": [["Punch", 0, 127, 64, ""], ["Swing", 0, 100, 12, "%"]],
    "Operator": [["Filter Freq", 20, 20000, 620, "Hz"], ["Filter Res", 0, 1.25, 0.3, ""]],
    "Wavetable": [["Osc 1 Pos", 0, 100, 37, "%"], ["Unison Amount", 0, 100, 30, "%"]],
    "Auto Filter": [["Frequency", 20, 20000, 4200, "Hz"], ["Resonance", 0, 1.25, 0.2, ""]],
    "Compressor": [["Threshold", -70, 6, -18, "dB"], ["Ratio", 1, 100, 3, ": 1"]],
    "EQ Eight": [["1 Frequency A", 10, 22000, 30, "Hz"], ["1 Gain A", -15, 15, 0, "dB"]],
    "Utility": [["Stereo Width", 0, 400, 130, "%"]],
    "Reverb": [["Decay Time", 200, 60000, 2600, "ms"], ["Dry/Wet", 0, 100, 100, "%"]],
    "Delay": [["Feedback", 0, 95, 38, "%"]],
    "Limiter": [["Ceiling", -24, 0, -0.3, "dB"]]
  })");
  return kTable;
}

// Name, kind, voice, fader in dB, sends in dB, devices, clip; then, for some, a second clip in the
// Session view or the transposition of an audio clip.
const Json& trackTable() {
  static const Json kTable = Json::parse(R"([
    ["1-MIDI", "midi", "kick", -7, [-70, -70], ["Drum Rack", "EQ Eight"], "Kick four on the floor"],
    ["Clap", "midi", "clap", -9, [-18, -70], ["Drum Rack"], "Backbeat"],
    ["Audio 3", "audio", "hat", -11, [-70, -70], ["Auto Filter"], "Offbeat hats 124bpm"],
    ["Perc loop copy", "midi", "percussion", -13, [-24, -20], ["Drum Rack"], "Conga 3-3-2"],
    ["bass final FINAL2", "midi", "bass", -8, [-70, -70], ["Operator", "Compressor"],
     "Rolling bass", "Rolling bass B"],
    ["Sub", "midi", "sub", -7, [-70, -70], ["Operator"], "Sub roots"],
    ["7-Wavetable", "midi", "chords", -5, [-16, -22], ["Wavetable", "Compressor"],
     "Chord stabs", "Chord stabs B"],
    ["Harbour pad", "audio", "pad", -5, [-20, -70], ["Auto Filter", "Utility"],
     "Harbour pad Em 110bpm", 2],
    ["lead??", "midi", "lead", -9, [-18, -16], ["Wavetable"], "Ferry hook"],
    ["Audio 10", "audio", "vocal", 1.5, [-14, -18], ["EQ Eight"], "Vox chop"],
    ["Riser", "audio", "fx", -14, [-22, -70], [], "Night swells"],
    ["Audio 12", "audio", "", 0, [-70, -70], []]
  ])");
  return kTable;
}

Json devicesNamed(const Json& names) {
  Json devices = Json::array();
  for (const std::string name : names) {
    Json parameters = Json::array();
    for (const Json& row : deviceTable()[name]) {
      parameters.push_back({{"name", row[0]},
                            {"minimum", row[1]},
                            {"maximum", row[2]},
                            {"value", row[3]},
                            {"unit", row[4]},
                            {"isEnabled", true}});
    }
    devices.push_back({{"name", name}, {"parameters", parameters}});
  }
  return devices;
}

// The same notes, every fourth an octave up.
Json variationOf(Json clip, const Json& name) {
  clip["name"] = name;
  clip["view"] = "session";
  for (std::size_t i = 0; i < clip["notes"].size(); i += 4) {
    Json& pitch = clip["notes"][i]["pitch"];
    pitch = pitch.get<int>() + 12;
  }
  return clip;
}

Json clipsOf(const Json& row, AudioPool& pool) {
  const Phrase* phrase = phraseOf(row[2]);
  if (phrase == nullptr) {
    return Json::array();
  }
  Json clip = emptyClip(row[6], 0, kSongBeats);
  if (row[1] == "audio") {
    // Recorded lower and slower by what the clip's transposition makes up for.
    const int transpose = row.size() > 7 ? row[7].get<int>() : 0;
    const double tempo = kTempo / std::exp2(transpose / 12.0);
    clip = audioClip(row[6], 0, renderPhrase(row[2], tempo, -transpose), kTempo, pool);
    clip.update({{"length", kSongBeats}, {"transposeSemitones", transpose}});
  } else {
    clip["notes"] = notesOf(*phrase, 0);
  }
  clip["loopLength"] = phrase->bars * 4;
  Json clips = Json::array({clip});
  if (row.size() > 7 && row[7].is_string()) {
    clips.push_back(variationOf(clip, row[7]));
  }
  return clips;
}

Json busNamed(const std::string& name, const Json& devices) {
  return {{"name", name}, {"volumeDb", 0}, {"devices", devicesNamed(devices)}};
}

Json emptySet(const std::string& project) {
  Json set =
      Json::parse(R"({"timeSignature": "4/4", "projectScale": {"root": "F#", "name": "Minor"},
      "tracks": [], "locators": [], "selectedTrack": 0, "selectedClip": 0})");
  set["project"] = project;
  set["tempo"] = kTempo;
  set["returns"] = {busNamed("A Reverb", {"Reverb"}), busNamed("B Delay", {"Delay"})};
  set["master"] = busNamed("Master", {"Limiter"});
  return set;
}

}  // namespace

Json nightFerry(AudioPool& pool) {
  Json set = emptySet("Night Ferry");
  for (const Json& row : trackTable()) {
    Json track =
        emptyTrack(row[0].get<std::string>(), row[1].get<std::string>(), row[2].get<std::string>());
    track.update({{"volumeDb", row[3]},
                  {"sends", row[4]},
                  {"devices", devicesNamed(row[5])},
                  {"clips", clipsOf(row, pool)}});
    set["tracks"].push_back(track);
  }
  return set;
}

Json setOfFiles(const std::vector<std::string>& files) {
  Json set = emptySet("Your files");
  for (const std::string& file : files) {
    // A file's name may hold bytes that are no text; it shows in no route but the key source's.
    const std::string name = "File " + std::to_string(set["tracks"].size() + 1);
    Json clip = emptyClip(name, 0, kSongBeats);
    clip.update(
        {{"transposeSemitones", 0}, {"filePath", std::filesystem::absolute(file).string()}});
    Json track = emptyTrack(name, "audio", "");
    track["clips"].push_back(clip);
    set["tracks"].push_back(track);
  }
  return set;
}

Json emptyTrack(const std::string& name, const std::string& kind, const std::string& voice) {
  Json track = Json::parse(R"({"color": "#8c8c8c", "mute": false, "solo": false, "arm": false,
      "volumeDb": 0, "sends": [-70, -70], "devices": [], "clips": []})");
  track.update({{"name", name}, {"kind", kind}, {"voice", voice}});
  return track;
}

Json emptyClip(const std::string& name, double startTime, double length) {
  return {{"name", name},     {"view", "arrangement"}, {"startTime", startTime},
          {"length", length}, {"loopLength", length},  {"color", "#8c8c8c"}};
}

Json audioClip(const std::string& name, double startTime, const Stereo& sound, double tempo,
               AudioPool& pool) {
  const std::size_t frames = sound.size() / 2;
  const double seconds = static_cast<double>(frames) / kSampleRate;
  Json clip = emptyClip(name, startTime, seconds * tempo / 60);
  clip.update(
      {{"transposeSemitones", 0}, {"fileSeconds", seconds}, {"filePath", pool.add(name, sound)}});
  return clip;
}

Stereo renderPhrase(const std::string& voice, double tempo, int transpose) {
  const Phrase* phrase = phraseOf(voice);
  if (phrase == nullptr) {
    return {};
  }
  const auto beats = static_cast<double>(phrase->bars * 4);
  Json track = emptyTrack("", "midi", voice);
  track["clips"].push_back(emptyClip("", 0, beats));
  track["clips"][0]["notes"] = notesOf(*phrase, transpose);
  const long long frames = std::llround(beats * 60 / tempo * kSampleRate);
  return render(Json::array({track}), AudioPool({}), tempo, 0, static_cast<std::size_t>(frames));
}

}  // namespace brindlevane::practice
