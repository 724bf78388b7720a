#include "practice/Handlers.h"
#include "practice/Refusal.h"
#include "practice/Song.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string>

namespace brindlevane::practice {
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
    Section{"Intro", 2, "Kick", "Kick Hats Percussion"},
    Section{"Groove", 2, "Kick Hats Percussion Bass", "Kick Clap Hats Percussion Bass"},
    Section{"Build 1", 1, "Clap Hats Chords FX", "Clap Hats Chords FX"},
    Section{"Drop 1", 2, "Kick Clap Hats Bass Chords",
            "Kick Clap Hats Percussion Bass Chords Lead"},
    Section{"Break", 2, "Chords Vocal", "Chords Vocal Lead"},
    Section{"Build 2", 1, "Clap Hats Chords Vocal FX", "Clap Hats Chords Vocal FX"},
    Section{"Drop 2", 4, "Kick Clap Hats Percussion Bass Chords Lead",
            "Kick Clap Hats Percussion Bass Chords Lead Vocal"},
    Section{"Outro", 2, "Kick Hats Percussion Bass", "Kick Hats"},
};

// Appends a block to each track whose role's label is among the layers; returns how many got one.
std::size_t appendBlock(Json& tracks, const Json& before, std::size_t block, double startTime,
                        std::string_view layers) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < before.size(); ++i) {
    const Json& sources = before[i]["clips"];
    const Role* const role = roleOf(before[i]);
    if (sources.empty() || role == nullptr || layers.find(role->label) == layers.npos) {
      continue;
    }
    Json clip = sources[block % sources.size()];
    clip.update({{"startTime", startTime}, {"length", kBlockBeats}});
    tracks[i]["clips"].push_back(clip);
    ++count;
  }
  return count;
}

}  // namespace

Json organizeTracks(LiveSet& set, const Json& /*body*/) {
  Json changes = Json::array();
  std::map<std::string_view, int> seen;
  std::size_t number = 0;
  for (Json& track : set.song["tracks"]) {
    ++number;
    const Role* const role = roleOf(track);
    if (role == nullptr) {
      continue;
    }
    std::string name = number < 10 ? "0" : "";
    name.append(std::to_string(number)).append(" ").append(role->label);
    if (const int count = ++seen[role->label]; count > 1) {
      name.append(" ").append(std::to_string(count));
    }
    Json after = track;
    after.update({{"name", name}, {"color", role->color}});
    for (Json& clip : after["clips"]) {
      clip["color"] = role->color;
    }
    if (after != track) {
      changes.push_back({{"trackIndex", number - 1},
                         {"before", track["name"]},
                         {"name", name},
                         {"color", role->color}});
      track = std::move(after);
    }
  }
  const std::string count = std::to_string(changes.size());
  return {{"changes", changes}, {"action", "names and colours of " + count + " tracks"}};
}

Json buildArrangement(LiveSet& set, const Json& /*body*/) {
  const Json before = set.song["tracks"];
  const double start = std::ceil(arrangementEnd(set.song) / 4) * 4;
  Json sections = Json::array();
  std::size_t clips = 0;
  std::size_t block = 0;
  for (const Section& section : kSections) {
    const double sectionStart = start + static_cast<double>(block) * kBlockBeats;
    sections.push_back({{"name", section.name},
                        {"startTime", sectionStart},
                        {"bars", section.blocks * kBlockBars}});
    set.song["locators"].push_back(sections.back());
    for (int i = 0; i < section.blocks; ++i, ++block) {
      clips += appendBlock(set.song["tracks"], before, block,
                           start + static_cast<double>(block) * kBlockBeats,
                           i * 2 < section.blocks ? section.firstLayers : section.lastLayers);
    }
  }
  if (clips == 0) {
    throw Refusal(409, "NOTHING_TO_ARRANGE", "No track holds a clip to build an arrangement from.");
  }
  return {
      {"startTime", start},
      {"bars", block * kBlockBars},
      {"clipsAdded", clips},
      {"sections", sections},
      {"action", "arrangement of " + std::to_string(clips) + " clips from beat " + shown(start)}};
}

}  // namespace brindlevane::practice
