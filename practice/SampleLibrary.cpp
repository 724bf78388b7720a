#include "practice/Handlers.h"
#include "practice/Request.h"
#include "practice/Roles.h"
#include "practice/Song.h"

#include <algorithm>
#include <functional>

namespace brindlevane::practice {
namespace {

// Name, role, pack, voice, pitch of a one-shot; without a pitch it is a loop at 124 BPM.
const Json& samples() {
  static const Json kSamples = Json::parse(R"([
    ["Tight Tech Kick 01", "kick", "Harbour Club Drums", "kick", 30],
    ["Deep Round Kick 07", "kick", "Night Shift", "kick", 28],
    ["Warehouse Kick Hard", "kick", "Concrete Rooms", "kick", 33],
    ["Tight Club Clap 02", "clap", "Harbour Club Drums", "clap", 39],
    ["Wide Room Clap", "clap", "Concrete Rooms", "clap", 39],
    ["Rim Snare Dry", "clap", "Night Shift", "clap", 38],
    ["Closed Hat Crisp 11", "hat", "Harbour Club Drums", "hat", 42],
    ["Offbeat Hat Loop 124", "hat", "Night Shift", "hat"],
    ["Conga Slap High", "percussion", "Island Percussion", "percussion", 65],
    ["Shaker Groove 124", "percussion", "Island Percussion", "percussion"],
    ["Rolling Tech Bass Fsm 124", "bass", "Night Shift", "bass"],
    ["Sub Drop Fs", "bass", "Concrete Rooms", "sub", 30],
    ["Dub Chord Stab Fsm", "chords", "Deep Harbour Keys", "chords", 54],
    ["Harbour Pad Fsm 124", "chords", "Deep Harbour Keys", "pad"],
    ["Glass Pluck Lead Fsm 124", "lead", "Deep Harbour Keys", "lead"],
    ["Vox Chop Ooh Fs", "vocal", "Voices After Dark", "vocal", 66],
    ["White Noise Swells 124", "fx", "Transitions", "fx"],
    ["Tech House Top Loop 124", "loop", "Harbour Club Drums", "percussion"]
  ])");
  return kSamples;
}

// 24 digits of a hash (FNV-1a) that runs on over the name.
std::string sampleId(const Json& sample) {
  const std::string name = sample[0];
  std::string id;
  std::uint32_t hash = 2166136261U;
  for (std::size_t i = 0; id.size() < 24; ++i) {
    hash = (hash ^ static_cast<unsigned char>(name[i % name.size()])) * 16777619U;
    id.push_back("0123456789abcdef"[(hash >> 13U) & 15U]);
  }
  return id;
}

Stereo soundOf(const Json& sample) {
  const std::string voice = sample[3];
  if (sample.size() < 5) {
    return renderPhrase(voice, 124, 0);
  }
  Stereo sound(static_cast<std::size_t>(kSampleRate) * 2);
  addNote(sound, voice, {.pitch = sample[4], .velocity = 1, .startFrame = 0, .seconds = 0.5}, 1);
  return sound;
}

bool hasWord(const std::string& text, const std::string& beginning) {
  return std::ranges::any_of(
      wordsOf(text), [&beginning](const std::string& word) { return word.starts_with(beginning); });
}

// A word of the query counts 2 where the sample's name has it, 1 where its role or pack has it.
int scoreOf(const Json& sample, const std::vector<std::string>& words) {
  int score = 0;
  for (const std::string& word : words) {
    const bool inContext = hasWord(sample[1], word) || hasWord(sample[2], word);
    score += hasWord(sample[0], word) ? 2 : static_cast<int>(inContext);
  }
  return score;
}

}  // namespace

Json searchSamples(LiveSet& /*set*/, const Json& body) {
  const std::vector<std::string> words = wordsOf(textIn(body, "query", " "));
  const std::string role = textIn(body, "role", "any");
  const double limit = body.contains("limit") ? numberIn(body, "limit", 1, 40) : 12;
  Json found = Json::array();
  for (const Json& sample : samples()) {
    const int score = scoreOf(sample, words);
    if ((score > 0 || words.empty()) && (role == "any" || sample[1] == role)) {
      found.push_back({{"sampleId", sampleId(sample)},
                       {"name", sample[0]},
                       {"role", sample[1]},
                       {"pack", sample[2]},
                       {"isLoop", sample.size() < 5},
                       {"score", score}});
    }
  }
  std::stable_sort(found.begin(), found.end(), [](const Json& left, const Json& right) {
    return left["score"] > right["score"];
  });
  const std::size_t matches = found.size();
  found.erase(
      found.begin() + static_cast<std::ptrdiff_t>(std::min(limit, static_cast<double>(matches))),
      found.end());
  return {{"samples", found}, {"matches", matches}, {"catalogueSize", samples().size()}};
}

Json importSample(LiveSet& set, const Json& body) {
  const std::string id = textIn(body, "sampleId");
  const auto sample =
      std::ranges::find_if(samples(), [&id](const Json& row) { return sampleId(row) == id; });
  if (sample == samples().end()) {
    throw Refusal(404, "UNKNOWN_SAMPLE",
                  "No sample has this id. Search again and use an id from the answer.");
  }
  const std::string name = (*sample)[0];
  Json track = emptyTrack(textIn(body, "trackName", name), "audio", (*sample)[3]);
  track["clips"].push_back(audioClip(name, numberIn(body, "startTime", 0, kLastBeat),
                                     soundOf(*sample), set.song["tempo"], set.audio));
  Json& tracks = set.song["tracks"];
  tracks.push_back(track);
  set.song["selectedTrack"] = tracks.size() - 1;
  set.song["selectedClip"] = 0;
  return {{"trackIndex", tracks.size() - 1}, {"track", track["name"]}, {"sample", name}};
}

}  // namespace brindlevane::practice
