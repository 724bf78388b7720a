#include "practice/LiveSet.h"

#include "practice/Request.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::practice {

double positionOf(const LiveSet& set) {
  if (!set.playingSince) {
    return 0;
  }
  const std::chrono::duration<double> played = std::chrono::steady_clock::now() - *set.playingSince;
  const double beats = played.count() * set.song["tempo"].get<double>() / 60;
  return std::fmod(beats, std::max(arrangementEnd(set.song), 4.0));
}

double arrangementEnd(const Json& song) {
  double end = 0;
  for (const Json& track : song["tracks"]) {
    for (const Json& clip : track["clips"]) {
      if (clip["view"] == "arrangement") {
        end = std::max(end, clip["startTime"].get<double>() + clip["length"].get<double>());
      }
    }
  }
  return end;
}

Json& trackIn(LiveSet& set, const Json& body) {
  Json& tracks = set.song["tracks"];
  return tracks[indexIn(body, "trackIndex", tracks.size(), "tracks")];
}

const Json* selectedClip(const LiveSet& set) {
  const Json& clip = set.song["selectedClip"];
  if (clip.is_null()) {
    return nullptr;
  }
  return &set.song["tracks"][set.song["selectedTrack"].get<std::size_t>()]["clips"]
                  [clip.get<std::size_t>()];
}

}  // namespace brindlevane::practice
