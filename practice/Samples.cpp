#include "practice/Handlers.h"
#include "practice/Song.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <sstream>

namespace brindlevane::practice {
namespace {

struct Sample {
  const char* id;  // 24 hexadecimal digits
  const char* name;
  const char* role;
  const char* pack;
};

constexpr std::array kSamples = {
    Sample{"5a0000000000000000000001", "Tight Tech Kick 01", "kick", "Harbour Club Drums"},
    Sample{"5a0000000000000000000002", "Tight Club Clap 02", "clap", "Harbour Club Drums"},
    Sample{"5a0000000000000000000003", "Wide Room Clap", "clap", "Concrete Rooms"},
    Sample{"5a0000000000000000000004", "Rolling Bass Fsm 124", "bass", "Night Shift"},
    Sample{"5a0000000000000000000005", "Dub Chord Stab Fsm", "chords", "Deep Harbour Keys"},
};

std::string lowered(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

// How many words of the query the sample's name, role and pack hold.
std::ptrdiff_t scoreOf(const Sample& sample, const std::string& query) {
  const std::string text =
      lowered(std::string(sample.name) + " " + sample.role + " " + sample.pack);
  std::istringstream words(lowered(query));
  return std::count_if(
      std::istream_iterator<std::string>(words), {},
      [&text](const std::string& word) { return text.find(word) != std::string::npos; });
}

}  // namespace

Json searchSamples(LiveSet& /*set*/, const Json& body) {
  const std::string query = body.value("query", "");
  const std::string role = body.value("role", "any");
  Json found = Json::array();
  for (const Sample& sample : kSamples) {
    const std::ptrdiff_t score = scoreOf(sample, query);
    if ((score > 0 || query.empty()) && (role == "any" || sample.role == role)) {
      found.push_back({{"sampleId", sample.id},
                       {"name", sample.name},
                       {"role", sample.role},
                       {"pack", sample.pack},
                       {"score", score}});
    }
  }
  std::stable_sort(found.begin(), found.end(), [](const Json& left, const Json& right) {
    return left["score"] > right["score"];
  });
  const std::ptrdiff_t matches = std::ssize(found);
  const auto limit = static_cast<std::ptrdiff_t>(body.value("limit", 12.0));
  found.erase(found.begin() + std::min(limit, matches), found.end());
  return {{"samples", found}, {"matches", matches}, {"catalogueSize", kSamples.size()}};
}

Json importSample(LiveSet& set, const Json& body) {
  const auto* const sample =
      std::ranges::find(kSamples, body.at("sampleId").get<std::string>(), &Sample::id);
  if (sample == kSamples.end()) {
    throw Refusal(404, "UNKNOWN_SAMPLE",
                  "No sample has this id. Search again and use an id from the answer.");
  }
  Json track = emptyTrack(body.value("trackName", sample->name), "audio", sample->role);
  track["clips"].push_back(
      audioClip(sample->name, body.at("startTime"), sample->role, 0, set.audioFolder));
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
