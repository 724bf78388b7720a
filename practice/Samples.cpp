#include "practice/Handlers.h"
#include "practice/Refusal.h"
#include "practice/Song.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

namespace brindlevane::practice {
namespace {

struct Sample {
  const char* name;
  const char* role;
  const char* pack;
  std::string_view voice;
  int pitch;  // of a one-shot; 0: a loop at 124 BPM
};

constexpr std::array kSamples = {
    Sample{"Tight Tech Kick 01", "kick", "Harbour Club Drums", "kick", 30},
    Sample{"Deep Round Kick 07", "kick", "Night Shift", "kick", 28},
    Sample{"Tight Club Clap 02", "clap", "Harbour Club Drums", "clap", 39},
    Sample{"Wide Room Clap", "clap", "Concrete Rooms", "clap", 39},
    Sample{"Rim Snare Dry", "clap", "Night Shift", "clap", 38},
    Sample{"Closed Hat Crisp 11", "hat", "Harbour Club Drums", "hat", 42},
    Sample{"Shaker Groove 124", "percussion", "Island Percussion", "percussion", 0},
    Sample{"Rolling Tech Bass Fsm 124", "bass", "Night Shift", "bass", 0},
    Sample{"Dub Chord Stab Fsm", "chords", "Deep Harbour Keys", "chords", 54},
    Sample{"Vox Chop Ooh Fs", "vocal", "Voices After Dark", "vocal", 66},
};

// The form of an id: 24 hexadecimal digits.
std::string idOf(const Sample& sample) {
  std::array<char, 25> id{};
  std::snprintf(id.data(), id.size(), "5a%022x", static_cast<unsigned>(&sample - kSamples.data()));
  return id.data();
}

Stereo soundOf(const Sample& sample) {
  if (sample.pitch == 0) {
    return renderPhrase(sample.voice, 124, 0);
  }
  Stereo sound(static_cast<std::size_t>(kSampleRate) * 2);
  addNote(
      sound, sample.voice,
      {.pitch = static_cast<double>(sample.pitch), .velocity = 1, .startFrame = 0, .seconds = 0.5},
      1);
  return sound;
}

std::string lowered(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

// A word of the query counts 2 where the sample's name has it, 1 where its role or pack has it.
int scoreOf(const Sample& sample, const std::string& query) {
  const std::string name = lowered(sample.name);
  const std::string others = lowered(std::string(sample.role) + " " + sample.pack);
  int score = 0;
  std::istringstream words(lowered(query));
  for (std::string word; words >> word;) {
    score += name.find(word) != std::string::npos     ? 2
             : others.find(word) != std::string::npos ? 1
                                                      : 0;
  }
  return score;
}

}  // namespace

Json searchSamples(LiveSet& /*set*/, const Json& body) {
  const std::string query = body.value("query", "");
  const std::string role = body.value("role", "any");
  Json found = Json::array();
  for (const Sample& sample : kSamples) {
    const int score = scoreOf(sample, query);
    if ((score > 0 || query.empty()) && (role == "any" || sample.role == role)) {
      found.push_back({{"sampleId", idOf(sample)},
                       {"name", sample.name},
                       {"role", sample.role},
                       {"pack", sample.pack},
                       {"isLoop", sample.pitch == 0},
                       {"score", score}});
    }
  }
  std::stable_sort(found.begin(), found.end(), [](const Json& left, const Json& right) {
    return left["score"] > right["score"];
  });
  const std::size_t matches = found.size();
  const auto kept = static_cast<std::size_t>(body.value("limit", 12.0));
  while (found.size() > kept) {
    found.erase(found.size() - 1);
  }
  return {{"samples", found}, {"matches", matches}, {"catalogueSize", kSamples.size()}};
}

Json importSample(LiveSet& set, const Json& body) {
  const auto* const sample = std::ranges::find(kSamples, body.at("sampleId").get<std::string>(),
                                               [](const Sample& each) { return idOf(each); });
  if (sample == kSamples.end()) {
    throw Refusal(404, "UNKNOWN_SAMPLE",
                  "No sample has this id. Search again and use an id from the answer.");
  }
  Json track = emptyTrack(body.value("trackName", sample->name), "audio", sample->role);
  track["clips"].push_back(audioClip(sample->name, body.at("startTime"), soundOf(*sample),
                                     set.song["tempo"], set.audio));
  Json& tracks = set.song["tracks"];
  tracks.push_back(track);
  set.song["selectedTrack"] = tracks.size() - 1;
  set.song["selectedClip"] = 0;
  return {{"trackIndex", tracks.size() - 1},
          {"track", track["name"]},
          {"sample", sample->name},
          {"action", "new audio track " + shown(track["name"]) + " with " + shown(sample->name)}};
}

}  // namespace brindlevane::practice
