#include "Workflows.h"

#include "Request.h"
#include "Roles.h"
#include "Song.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>

namespace brindlevane {
namespace {

constexpr int kBlockBars = 8;
constexpr double kBlockBeats = kBlockBars * 4;

struct Section {
  std::string_view name;
  int blocks;  // of eight bars
  std::string_view firstLayers;
  std::string_view lastLayers;  // from the middle of the section on
};

constexpr std::array kSections = {
    Section{"Intro", 2, "kick", "kick hat percussion"},
    Section{"Groove", 2, "kick hat percussion bass", "kick clap hat percussion bass"},
    Section{"Build 1", 1, "clap hat chords fx", "clap hat chords fx"},
    Section{"Drop 1", 2, "kick clap hat bass chords", "kick clap hat percussion bass chords lead"},
    Section{"Break", 2, "chords vocal", "chords vocal lead"},
    Section{"Build 2", 1, "clap hat chords vocal fx", "clap hat chords vocal fx"},
    Section{"Drop 2", 4, "kick clap hat percussion bass chords lead",
            "kick clap hat percussion bass chords lead vocal"},
    Section{"Outro", 2, "kick hat percussion bass", "kick hat"},
};

struct Sample {
  std::string_view name, role, pack;
  double pitch;  // of a one-shot
  double tempo;  // of a loop, 0 = one-shot
  std::string_view voice;
};

constexpr std::array kSamples = {
    Sample{"Tight Tech Kick 01", "kick", "Harbour Club Drums", 31, 0, "kick"},
    Sample{"Deep Round Kick 07", "kick", "Night Shift", 28, 0, "kick"},
    Sample{"Warehouse Kick Hard", "kick", "Concrete Rooms", 33, 0, "kick"},
    Sample{"Tight Club Clap 02", "clap", "Harbour Club Drums", 39, 0, "clap"},
    Sample{"Wide Room Clap", "clap", "Concrete Rooms", 39, 0, "clap"},
    Sample{"Rim Snare Dry", "clap", "Night Shift", 38, 0, "clap"},
    Sample{"Closed Hat Crisp 11", "hat", "Harbour Club Drums", 42, 0, "hat"},
    Sample{"Offbeat Hat Loop 124", "hat", "Night Shift", 0, 124, "hat"},
    Sample{"Conga Slap High", "percussion", "Island Percussion", 65, 0, "percussion"},
    Sample{"Shaker Groove 124", "percussion", "Island Percussion", 0, 124, "percussion"},
    Sample{"Rolling Tech Bass Fsm 124", "bass", "Night Shift", 0, 124, "bass"},
    Sample{"Sub Drop Fs", "bass", "Concrete Rooms", 30, 0, "sub"},
    Sample{"Dub Chord Stab Fsm", "chords", "Deep Harbour Keys", 54, 0, "chords"},
    Sample{"Harbour Pad Fsm 124", "chords", "Deep Harbour Keys", 0, 124, "pad"},
    Sample{"Glass Pluck Lead Fsm 124", "lead", "Deep Harbour Keys", 0, 124, "lead"},
    Sample{"Vox Chop Ooh Fs", "vocal", "Voices After Dark", 66, 0, "vocal"},
    Sample{"White Noise Riser 16 Bars", "fx", "Transitions", 0, 124, "fx"},
    Sample{"Tech House Top Loop 124", "loop", "Harbour Club Drums", 0, 124, "percussion"},
};

std::string sampleId(const Sample& sample) {
  std::uint64_t hash = 14695981039346656037U;  // FNV-1a
  for (const char c : sample.name) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%016llx%08llx", static_cast<unsigned long long>(hash),
                static_cast<unsigned long long>(hash >> 13U) & 0xffffffffU);
  return text.data();
}

Stereo soundOf(const Sample& sample) {
  if (sample.tempo > 0) {
    return renderPhrase(sample.voice, sample.tempo, 0);
  }
  Stereo sound(static_cast<std::size_t>(kSampleRate) * 2);
  addNote(sound, sample.voice,
          {.pitch = sample.pitch, .velocity = 1, .startFrame = 0, .seconds = 0.5}, 1);
  return sound;
}

// How many of the words begin a word of the sample's name, pack or role; the name counts double.
int scoreOf(const Sample& sample, const std::vector<std::string>& words) {
  int score = 0;
  const auto count = [&](std::string_view text, int weight) {
    const std::vector<std::string> own = wordsOf(text);
    for (const std::string& word : words) {
      const auto begins = [&word](const std::string& other) { return other.starts_with(word); };
      score += std::ranges::any_of(own, begins) ? weight : 0;
    }
  };
  count(sample.name, 2);
  count(sample.pack, 1);
  count(sample.role, 1);
  return score;
}

// The clips of each track that the arrangement may be built from.
std::vector<Json> sourcesOf(const Json& tracks) {
  std::vector<Json> sources;
  for (const Json& track : tracks) {
    sources.push_back(track["clips"]);
  }
  return sources;
}

bool hasLayer(std::string_view layers, std::string_view role) {
  return std::ranges::count(wordsOf(layers), role) > 0;
}

Json blockClip(Json clip, double startTime) {
  clip["view"] = "arrangement";
  clip["startTime"] = startTime;
  clip["length"] = kBlockBeats;
  return clip;
}

}  // namespace

Json organizeTracks(LiveSet& set, const Json& /*body*/) {
  Json changes = Json::array();
  std::map<std::string_view, int> seen;
  std::size_t number = 0;
  for (Json& track : set.song["tracks"]) {
    const Role& role = roleOfTrack(track);
    std::array<char, 8> prefix{};
    std::snprintf(prefix.data(), prefix.size(), "%02zu ", ++number % 1000);
    std::string name = prefix.data() + std::string(role.label);
    if (const int count = ++seen[role.label]; count > 1) {
      name += " " + std::to_string(count);
    }
    changes.push_back({{"trackIndex", number - 1},
                       {"before", track["name"]},
                       {"name", name},
                       {"role", role.name},
                       {"color", role.color}});
    track["name"] = name;
    track["color"] = role.color;
    for (Json& clip : track["clips"]) {
      clip["color"] = role.color;
    }
  }
  return {{"changes", changes}};
}

Json buildArrangement(LiveSet& set, const Json& /*body*/) {
  Json& tracks = set.song["tracks"];
  const std::vector<Json> sources = sourcesOf(tracks);
  const double start = std::ceil(arrangementEnd(set.song) / 4) * 4;
  std::size_t clips = 0;
  std::size_t block = 0;
  Json sections = Json::array();
  for (const Section& section : kSections) {
    const double sectionStart = start + static_cast<double>(block) * kBlockBeats;
    sections.push_back({{"name", section.name},
                        {"startTime", sectionStart},
                        {"bars", section.blocks * kBlockBars}});
    set.song["locators"].push_back({{"name", section.name}, {"time", sectionStart}});
    for (int i = 0; i < section.blocks; ++i, ++block) {
      const std::string_view layers =
          i * 2 < section.blocks ? section.firstLayers : section.lastLayers;
      for (std::size_t t = 0; t < tracks.size(); ++t) {
        if (!sources[t].empty() && hasLayer(layers, roleOfTrack(tracks[t]).name)) {
          const Json& clip = sources[t][block % sources[t].size()];
          tracks[t]["clips"].push_back(
              blockClip(clip, start + static_cast<double>(block) * kBlockBeats));
          ++clips;
        }
      }
    }
  }
  if (clips == 0) {
    throw Refusal(409, "NOTHING_TO_ARRANGE", "No track holds a clip to build an arrangement from.");
  }
  return {{"startTime", start},
          {"bars", block * kBlockBars},
          {"clipsAdded", clips},
          {"sections", sections}};
}

Json searchSamples(LiveSet& /*set*/, const Json& body) {
  const std::vector<std::string> words =
      wordsOf(body.contains("query") ? textIn(body, "query") : "");
  const std::string role = textIn(body, "role", "any");
  const double limit = body.contains("limit") ? numberIn(body, "limit", 1, 40) : 12;
  std::vector<std::pair<int, const Sample*>> ranked;
  for (const Sample& sample : kSamples) {
    const int score = scoreOf(sample, words);
    if ((score > 0 || words.empty()) && (role == "any" || role == sample.role)) {
      ranked.emplace_back(score, &sample);
    }
  }
  std::ranges::stable_sort(ranked, std::greater{}, &std::pair<int, const Sample*>::first);
  Json samples = Json::array();
  for (const auto& [score, sample] : ranked) {
    if (static_cast<double>(samples.size()) < limit) {
      samples.push_back({{"sampleId", sampleId(*sample)},
                         {"name", sample->name},
                         {"role", sample->role},
                         {"pack", sample->pack},
                         {"isLoop", sample->tempo > 0},
                         {"score", score}});
    }
  }
  return {{"samples", samples}, {"matches", ranked.size()}, {"catalogueSize", kSamples.size()}};
}

Json importSample(LiveSet& set, const Json& body) {
  const std::string id = textIn(body, "sampleId");
  const auto* const sample = std::ranges::find(kSamples, id, sampleId);
  if (sample == kSamples.end()) {
    throw Refusal(404, "UNKNOWN_SAMPLE",
                  "No sample has this id. Search again and use an id from the answer.");
  }
  const double startTime = numberIn(body, "startTime", 0, 1576800);
  const Stereo sound = soundOf(*sample);
  const double seconds = static_cast<double>(sound.size() / 2) / kSampleRate;
  Json clip = emptyClip(sample->name, startTime, seconds * set.song["tempo"].get<double>() / 60);
  clip["transposeSemitones"] = 0;
  clip["fileSeconds"] = seconds;
  clip["filePath"] = set.audio.add(std::string(sample->name), sound);
  Json track =
      emptyTrack(textIn(body, "trackName", std::string(sample->name)), "audio", sample->voice);
  track["clips"].push_back(clip);
  Json& tracks = set.song["tracks"];
  set.song["selectedTrack"] = tracks.size();
  set.song["selectedClip"] = 0;
  tracks.push_back(track);
  return {{"trackIndex", tracks.size() - 1}, {"track", track["name"]}, {"sample", sample->name}};
}

}  // namespace brindlevane
