#include "practice/Handlers.h"
#include "practice/Song.h"

#include <array>
#include <cmath>
#include <map>
#include <string>
#include <string_view>

namespace brindlevane::practice {
namespace {

struct Section {
  std::string_view name;
  int bars;
  std::string_view layers;  // labels of the roles that play
};

constexpr std::array kSections = {
    Section{"Intro", 16, "Kick Hats Percussion"},
    Section{"Groove", 16, "Kick Clap Hats Percussion Bass"},
    Section{"Build", 8, "Clap Hats Chords FX"},
    Section{"Drop 1", 24, "Kick Clap Hats Percussion Bass Chords Lead"},
    Section{"Break", 16, "Chords Vocal Lead"},
    Section{"Drop 2", 32, "Kick Clap Hats Percussion Bass Chords Lead Vocal"},
    Section{"Outro", 16, "Kick Hats Percussion"},
};

}  // namespace

Json organizeTracks(LiveSet& set, const Json& /*body*/) {
  Json changes = Json::array();
  std::map<std::string, int> seen;
  std::size_t number = 0;
  for (Json& track : set.song["tracks"]) {
    ++number;
    const std::string label = labelOf(track);
    if (label.empty()) {
      continue;
    }
    std::string name = number < 10 ? "0" : "";
    name.append(std::to_string(number)).append(" ").append(label);
    if (const int count = ++seen[label]; count > 1) {
      name.append(" ").append(std::to_string(count));
    }
    Json after = track;
    after.update({{"name", name}, {"color", colorOf(track)}});
    for (Json& clip : after["clips"]) {
      clip["color"] = colorOf(track);
    }
    if (after != track) {
      changes.push_back({{"trackIndex", number - 1},
                         {"before", track["name"]},
                         {"name", name},
                         {"color", colorOf(track)}});
      track = std::move(after);
    }
  }
  const std::string count = std::to_string(changes.size());
  return {{"changes", changes}, {"action", "names and colours of " + count + " tracks"}};
}

Json buildArrangement(LiveSet& set, const Json& /*body*/) {
  const double start = std::ceil(arrangementEnd(set.song) / 4) * 4;
  Json sections = Json::array();
  std::size_t clips = 0;
  int bars = 0;
  for (const Section& section : kSections) {
    const double sectionStart = start + bars * 4;
    bars += section.bars;
    sections.push_back(
        {{"name", section.name}, {"startTime", sectionStart}, {"bars", section.bars}});
    set.song["locators"].push_back(sections.back());
    for (Json& track : set.song["tracks"]) {
      const std::string label = labelOf(track);
      if (track["clips"].empty() || label.empty() || section.layers.find(label) == label.npos) {
        continue;
      }
      Json clip = track["clips"][0];
      clip.update({{"startTime", sectionStart}, {"length", section.bars * 4}});
      track["clips"].push_back(clip);
      ++clips;
    }
  }
  if (clips == 0) {
    throw Refusal(409, "NOTHING_TO_ARRANGE", "No track holds a clip to build an arrangement from.");
  }
  return {
      {"startTime", start},
      {"bars", bars},
      {"clipsAdded", clips},
      {"sections", sections},
      {"action", "arrangement of " + std::to_string(clips) + " clips from beat " + shown(start)}};
}

}  // namespace brindlevane::practice
