#include "practice/Roles.h"

#include <algorithm>
#include <set>

namespace brindlevane::practice {
namespace {

const Role& roleNamed(std::string_view name) {
  return *std::ranges::find(roles(), name, &Role::name);
}

// Low notes are a bass, notes that start together are chords, other notes a lead.
const Role& roleOfNotes(const Json& track) {
  double pitchSum = 0;
  std::size_t count = 0;
  std::set<double> starts;
  for (const Json& clip : track["clips"]) {
    for (const Json& note : clip.value("notes", Json::array())) {
      pitchSum += note["pitch"].get<double>();
      starts.insert(clip["startTime"].get<double>() + note["startTime"].get<double>());
      ++count;
    }
  }
  if (count == 0) {
    return roleNamed("other");
  }
  if (pitchSum / static_cast<double>(count) < 48) {
    return roleNamed("bass");
  }
  return roleNamed(count >= 2 * starts.size() ? "chords" : "lead");
}

}  // namespace

std::span<const Role> roles() {
  static const std::vector<Role> kRoles = {
      {"kick", "Kick", "#d9433b", {"kick", "bd"}},
      {"clap", "Clap", "#e0703a", {"clap", "snare", "backbeat"}},
      {"hat", "Hats", "#e09a3a", {"hat", "hh", "ride", "cymbal"}},
      {"percussion", "Percussion", "#d9b93b", {"perc", "conga", "shaker", "tom", "bongo"}},
      {"vocal", "Vocal", "#c54f9e", {"vocal", "vox", "voice"}},
      {"bass", "Bass", "#3b6fd9", {"bass", "sub", "303", "acid"}},
      {"chords", "Chords", "#3fae6a", {"chord", "pad", "stab", "piano", "keys", "rhodes"}},
      {"lead", "Lead", "#7d54d6", {"lead", "hook", "arp", "pluck", "melody"}},
      {"fx", "FX", "#4aa8b8", {"fx", "riser", "sweep", "impact", "noise", "downlifter"}},
      {"loop", "Loop", "#a38b6d", {"loop"}},
      {"other", "Track", "#8c8c8c", {}},
  };
  return kRoles;
}

std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words(1);
  for (const char c : text) {
    const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9')) {
      words.back().push_back(lower);
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  std::erase(words, "");
  return words;
}

const Role& roleOfText(std::string_view text) {
  const std::vector<std::string> words = wordsOf(text);
  const auto found = std::ranges::find_if(roles(), [&words](const Role& role) {
    return std::ranges::any_of(role.stems, [&words](std::string_view stem) {
      return std::ranges::any_of(
          words, [stem](const std::string& word) { return word.starts_with(stem); });
    });
  });
  return found == roles().end() ? roles().back() : *found;
}

const Role& roleOfTrack(const Json& track) {
  std::string clipNames;
  for (const Json& clip : track["clips"]) {
    clipNames += clip["name"].get<std::string>() + ' ';
  }
  for (const std::string& text : {track["name"].get<std::string>(), clipNames}) {
    const Role& role = roleOfText(text);
    if (role.name != "other") {
      return role;
    }
  }
  return roleOfNotes(track);
}

}  // namespace brindlevane::practice
