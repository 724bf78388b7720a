#include "practice/Handlers.h"
#include "practice/Request.h"
#include "practice/Roles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>

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

// Appends a block to each track whose role is among the layers; returns how many got one.
std::size_t appendBlock(Json& tracks, const Json& before, std::size_t block, double startTime,
                        std::string_view layers) {
  const std::vector<std::string> roles = wordsOf(layers);
  std::size_t count = 0;
  for (std::size_t i = 0; i < before.size(); ++i) {
    const Json& sources = before[i]["clips"];
    if (sources.empty() || std::ranges::count(roles, roleOfTrack(before[i]).name) == 0) {
      continue;
    }
    Json clip = sources[block % sources.size()];
    clip.update({{"view", "arrangement"}, {"startTime", startTime}, {"length", kBlockBeats}});
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
    const Role& role = roleOfTrack(track);
    std::array<char, 8> prefix{};
    std::snprintf(prefix.data(), prefix.size(), "%02zu ", ++number % 1000);
    std::string name = prefix.data() + std::string(role.label);
    if (const int count = ++seen[role.label]; count > 1) {
      name += ' ';
      name += std::to_string(count);
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
  return {{"startTime", start},
          {"bars", block * kBlockBars},
          {"clipsAdded", clips},
          {"sections", sections}};
}

}  // namespace brindlevane::practice
