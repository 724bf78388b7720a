#include "practice/LiveSet.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <random>

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
      end = std::max(end, clip["startTime"].get<double>() + clip["length"].get<double>());
    }
  }
  return end;
}

Json& elementIn(Json& elements, const Json& body, const char* key) {
  const double index = body.at(key);
  if (!(index >= 0 && index < static_cast<double>(elements.size()))) {
    throw Refusal(400, "INVALID_INDEX",
                  std::string(key) + " " + shown(index) + " does not exist: there are " +
                      std::to_string(elements.size()) +
                      ", counted from 0. Read the context again.");
  }
  return elements[static_cast<std::size_t>(index)];
}

Json& trackIn(LiveSet& set, const Json& body) {
  return elementIn(set.song["tracks"], body, "trackIndex");
}

const Json* selectedClip(const LiveSet& set) {
  const Json& clip = set.song["selectedClip"];
  if (clip.is_null()) {
    return nullptr;
  }
  return &set.song["tracks"][set.song["selectedTrack"].get<std::size_t>()]["clips"]
                  [clip.get<std::size_t>()];
}

std::string randomHex(std::size_t digits) {
  std::random_device random;
  std::string hex;
  while (hex.size() < digits) {
    hex.push_back("0123456789abcdef"[random() % 16]);
  }
  return hex;
}

std::string shown(const Json& value) {
  if (!value.is_number()) {
    return value.dump();
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.6g", value.get<double>());
  return text.data();
}

}  // namespace brindlevane::practice
