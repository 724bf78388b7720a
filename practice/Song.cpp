#include "Song.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

namespace brindlevane {
namespace {

constexpr double kTempo = 124;
constexpr double kSongBeats = 64;

struct Chord {
  int root;
  std::array<int, 3> tones;
};

// i i VI VI iv iv v v i III VI VI iv VII v v in F sharp minor, a bar each.
constexpr Chord kFsm{30, {54, 57, 61}}, kD{38, {54, 57, 62}}, kBm{35, {54, 59, 62}},
    kCsm{37, {52, 56, 61}}, kA{33, {52, 57, 61}}, kE{28, {52, 56, 59}};
constexpr std::array kBars = {kFsm, kFsm, kD, kD, kBm, kBm, kCsm, kCsm,
                              kFsm, kA,   kD, kD, kBm, kE,  kCsm, kCsm};

enum class Pitch { fixed, root, chord, melody };

struct Step {
  double beat;
  double duration;
  int velocity;
};

struct Phrase {
  std::string_view voice;
  std::size_t bars;
  Pitch pitch;
  int offset;  // semitones above the chord, or the fixed pitch
  std::vector<Step> steps;
};

const std::vector<Phrase>& phrases() {
  static const std::vector<Phrase> kPhrases = {
      {"kick",
       1,
       Pitch::fixed,
       31,
       {{0, 0.25, 120}, {1, 0.25, 112}, {2, 0.25, 118}, {3, 0.25, 112}}},
      {"clap", 1, Pitch::fixed, 39, {{1, 0.25, 104}, {3, 0.25, 108}}},
      {"hat",
       1,
       Pitch::fixed,
       42,
       {{0.5, 0.2, 100}, {1.5, 0.2, 100}, {2.5, 0.2, 104}, {3.25, 0.1, 52}, {3.5, 0.2, 100}}},
      {"percussion",
       1,
       Pitch::fixed,
       62,
       {{0, 0.2, 90}, {0.75, 0.2, 78}, {1.5, 0.2, 88}, {2.25, 0.2, 74}, {3, 0.2, 92}}},
      {"bass",
       16,
       Pitch::root,
       12,
       {{0.5, 0.4, 108}, {1.5, 0.4, 104}, {1.75, 0.2, 80}, {2.5, 0.4, 108}, {3.5, 0.4, 100}}},
      {"sub", 16, Pitch::root, 0, {{0, 3.75, 100}}},
      {"chords",
       16,
       Pitch::chord,
       0,
       {{0, 0.5, 96}, {0.75, 0.25, 76}, {1.5, 0.5, 90}, {2.5, 0.75, 94}}},
      {"pad", 16, Pitch::chord, 0, {{0, 4, 90}}},
      {"lead",
       16,
       Pitch::melody,
       24,
       {{0, 0.5, 100}, {0.75, 0.25, 84}, {1.5, 0.5, 96}, {2.5, 1, 104}}},
      {"vocal", 16, Pitch::melody, 12, {{1, 0.75, 96}, {2.75, 0.5, 84}}},
      {"fx", 16, Pitch::fixed, 60, {}},
  };
  return kPhrases;
}

Json noteAt(double beat, int pitch, const Step& step) {
  return {{"pitch", pitch},
          {"startTime", beat},
          {"duration", step.duration},
          {"velocity", step.velocity},
          {"mute", false},
          {"probability", 1}};
}

Json notesOf(const Phrase& phrase) {
  Json notes = Json::array();
  std::size_t melody = 0;
  for (std::size_t bar = 0; bar < phrase.bars; ++bar) {
    const Chord& chord = kBars[bar];
    for (const Step& step : phrase.steps) {
      const double beat = static_cast<double>(bar) * 4 + step.beat;
      switch (phrase.pitch) {
        case Pitch::fixed:
          notes.push_back(noteAt(beat, phrase.offset, step));
          break;
        case Pitch::root:
          notes.push_back(noteAt(beat, chord.root + phrase.offset, step));
          break;
        case Pitch::melody:
          notes.push_back(noteAt(beat, chord.tones[melody++ % 3] + phrase.offset, step));
          break;
        case Pitch::chord:
          for (const int tone : chord.tones) {
            notes.push_back(noteAt(beat, tone + phrase.offset, step));
          }
      }
    }
  }
  if (phrase.voice == "fx") {
    notes.push_back(noteAt(kSongBeats / 2, phrase.offset, {0, kSongBeats / 2, 110}));
  }
  return notes;
}

struct Parameter {
  std::string_view device, name;
  double value, minimum, maximum;
  std::string_view unit;
};

constexpr std::array kParameters = {
    Parameter{"Drum Rack", "Punch", 64, 0, 127, ""},
    Parameter{"Drum Rack", "Swing", 12, 0, 100, " %"},
    Parameter{"Operator", "Filter Freq", 620, 20, 20000, " Hz"},
    Parameter{"Operator", "Filter Res", 0.3, 0, 1.25, ""},
    Parameter{"Operator", "Volume", -12, -70, 0, " dB"},
    Parameter{"Wavetable", "Osc 1 Pos", 37, 0, 100, " %"},
    Parameter{"Wavetable", "Unison Amount", 30, 0, 100, " %"},
    Parameter{"Auto Filter", "Frequency", 4200, 20, 20000, " Hz"},
    Parameter{"Auto Filter", "Resonance", 0.2, 0, 1.25, ""},
    Parameter{"Compressor", "Threshold", -18, -70, 6, " dB"},
    Parameter{"Compressor", "Ratio", 3, 1, 100, " : 1"},
    Parameter{"EQ Eight", "1 Frequency A", 30, 10, 22000, " Hz"},
    Parameter{"EQ Eight", "1 Gain A", 0, -15, 15, " dB"},
    Parameter{"Utility", "Stereo Width", 130, 0, 400, " %"},
    Parameter{"Reverb", "Decay Time", 2600, 200, 60000, " ms"},
    Parameter{"Reverb", "Dry/Wet", 100, 0, 100, " %"},
    Parameter{"Delay", "Feedback", 38, 0, 95, " %"},
    Parameter{"Limiter", "Ceiling", -0.3, -24, 0, " dB"},
};

Json deviceNamed(std::string_view name) {
  Json parameters = {{{"name", "Device On"},
                      {"value", 1},
                      {"minimum", 0},
                      {"maximum", 1},
                      {"unit", ""},
                      {"isEnabled", true}}};
  for (const Parameter& row : kParameters) {
    if (row.device == name) {
      parameters.push_back({{"name", row.name},
                            {"value", row.value},
                            {"minimum", row.minimum},
                            {"maximum", row.maximum},
                            {"unit", row.unit},
                            {"isEnabled", true}});
    }
  }
  return {{"name", name}, {"parameters", parameters}};
}

Json devicesNamed(const std::vector<std::string_view>& names) {
  Json devices = Json::array();
  std::ranges::transform(names, std::back_inserter(devices), deviceNamed);
  return devices;
}

struct TrackRow {
  std::string_view name, kind, voice, clip;
  double volumeDb, sendADb, sendBDb;
  std::vector<std::string_view> devices;
  std::string_view variation;  // a second clip, in the Session view
  double transpose;            // of an audio clip
};

const std::vector<TrackRow>& trackRows() {
  static const std::vector<TrackRow> kRows = {
      {"1-MIDI",
       "midi",
       "kick",
       "Kick four on the floor",
       -4,
       -70,
       -70,
       {"Drum Rack", "EQ Eight"},
       "",
       0},
      {"Clap", "midi", "clap", "Backbeat", -9, -18, -70, {"Drum Rack"}, "", 0},
      {"Audio 3", "audio", "hat", "Offbeat hats 124bpm", -11, -70, -70, {"Auto Filter"}, "", 0},
      {"Perc loop copy", "midi", "percussion", "Conga 3-3-2", -13, -24, -20, {"Drum Rack"}, "", 0},
      {"bass final FINAL2",
       "midi",
       "bass",
       "Rolling bass",
       -8,
       -70,
       -70,
       {"Operator", "Compressor"},
       "Rolling bass B",
       0},
      {"Sub", "midi", "sub", "Sub roots", -7, -70, -70, {"Operator"}, "", 0},
      {"7-Wavetable",
       "midi",
       "chords",
       "Chord stabs",
       -9,
       -16,
       -22,
       {"Wavetable", "Compressor"},
       "Chord stabs B",
       0},
      {"Harbour pad",
       "audio",
       "pad",
       "Harbour pad Em 110bpm",
       -8,
       -20,
       -70,
       {"Auto Filter", "Utility"},
       "",
       2},
      {"lead??", "midi", "lead", "Ferry hook", -12, -18, -16, {"Wavetable"}, "", 0},
      {"Audio 10", "audio", "vocal", "Vox chop", 1.5, -14, -18, {"EQ Eight"}, "", 0},
      {"Riser", "audio", "fx", "Night riser", -14, -22, -70, {}, "", 0},
      {"Audio 12", "audio", "", "", 0, -70, -70, {}, "", 0},
  };
  return kRows;
}

const Phrase* phraseOf(std::string_view voice) {
  const auto found = std::ranges::find(phrases(), voice, &Phrase::voice);
  return found == phrases().end() ? nullptr : &*found;
}

void addClips(Json& track, const TrackRow& row, AudioPool& pool) {
  const Phrase* phrase = phraseOf(row.voice);
  if (phrase == nullptr) {
    return;
  }
  Json clip = emptyClip(row.clip, 0, kSongBeats);
  clip["loopLength"] = phrase->bars * 4;
  if (row.kind == "audio") {
    // Recorded lower and slower by what the clip's transposition makes up for.
    const double tempo = kTempo / std::exp2(row.transpose / 12);
    const Stereo sound = renderPhrase(row.voice, tempo, -row.transpose);
    clip["transposeSemitones"] = row.transpose;
    clip["fileSeconds"] = static_cast<double>(sound.size() / 2) / kSampleRate;
    clip["filePath"] = pool.add(std::string(row.clip), sound);
  } else {
    clip["notes"] = notesOf(*phrase);
  }
  track["clips"].push_back(clip);
  if (!row.variation.empty()) {
    clip["name"] = row.variation;
    clip["view"] = "session";
    for (std::size_t i = 0; i < clip["notes"].size(); i += 4) {
      Json& pitch = clip["notes"][i]["pitch"];
      pitch = pitch.get<int>() + 12;
    }
    track["clips"].push_back(clip);
  }
}

Json busNamed(std::string_view name, const std::vector<std::string_view>& devices) {
  return {{"name", name}, {"volumeDb", 0}, {"devices", devicesNamed(devices)}};
}

Json emptySet(std::string_view project) {
  return {{"project", project},
          {"tempo", kTempo},
          {"timeSignature", "4/4"},
          {"projectScale", {{"root", "F#"}, {"name", "Minor"}}},
          {"tracks", Json::array()},
          {"returns", {busNamed("A Reverb", {"Reverb"}), busNamed("B Delay", {"Delay"})}},
          {"master", busNamed("Master", {"Limiter"})},
          {"locators", Json::array()},
          {"selectedTrack", 0},
          {"selectedClip", nullptr}};
}

}  // namespace

Json nightFerry(AudioPool& pool) {
  Json set = emptySet("Night Ferry");
  for (const TrackRow& row : trackRows()) {
    Json track = emptyTrack(row.name, row.kind, row.voice);
    track["volumeDb"] = row.volumeDb;
    track["sends"] = {row.sendADb, row.sendBDb};
    track["devices"] = devicesNamed(row.devices);
    addClips(track, row, pool);
    set["tracks"].push_back(track);
  }
  set["selectedClip"] = 0;
  return set;
}

Json setOfFiles(const std::vector<std::string>& files) {
  Json set = emptySet("Your files");
  for (const std::string& file : files) {
    const std::string name = std::filesystem::path(file).filename().string();
    Json track = emptyTrack(name, "audio", "");
    Json clip = emptyClip(name, 0, kSongBeats);
    clip["transposeSemitones"] = 0;
    clip["filePath"] = std::filesystem::absolute(file).string();
    track["clips"].push_back(clip);
    set["tracks"].push_back(track);
  }
  return set;
}

Json emptyTrack(std::string_view name, std::string_view kind, std::string_view voice) {
  return {{"name", name},          {"kind", kind},
          {"voice", voice},        {"color", "#8c8c8c"},
          {"mute", false},         {"solo", false},
          {"arm", false},          {"volumeDb", 0},
          {"sends", {-70, -70}},   {"devices", Json::array()},
          {"clips", Json::array()}};
}

Json emptyClip(std::string_view name, double startTime, double length) {
  return {{"name", name},     {"view", "arrangement"}, {"startTime", startTime},
          {"length", length}, {"loopLength", length},  {"color", "#8c8c8c"}};
}

Stereo renderPhrase(std::string_view voice, double tempo, double transpose) {
  const Phrase* phrase = phraseOf(voice);
  if (phrase == nullptr) {
    return {};
  }
  const double secondsPerBeat = 60 / tempo;
  const auto beats = static_cast<double>(phrase->bars * 4);
  Stereo sound(static_cast<std::size_t>(std::llround(beats * secondsPerBeat * kSampleRate)) * 2);
  for (const Json& note : notesOf(*phrase)) {
    const double start = note["startTime"].get<double>() * secondsPerBeat * kSampleRate;
    addNote(sound, voice,
            {.pitch = note["pitch"].get<double>() + transpose,
             .velocity = note["velocity"].get<double>() / 127,
             .startFrame = std::llround(start),
             .seconds = note["duration"].get<double>() * secondsPerBeat},
            1);
  }
  return sound;
}

}  // namespace brindlevane
