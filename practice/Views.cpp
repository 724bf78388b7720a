#include "practice/Handlers.h"
#include "practice/Request.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <regex>

namespace brindlevane::practice {
namespace {

constexpr double kSilenceDb = -70;

// A clip without its notes, of which only a summary is shown, and without the place of its file.
Json clipView(const Json& clip, std::size_t index) {
  Json view = clip;
  view["index"] = index;
  if (clip.contains("notes")) {
    int lowest = 127;
    int highest = 0;
    for (const Json& note : clip["notes"]) {
      lowest = std::min(lowest, note["pitch"].get<int>());
      highest = std::max(highest, note["pitch"].get<int>());
    }
    view.erase("notes");
    view["noteCount"] = clip["notes"].size();
    view["pitchRange"] = {lowest, highest};
  } else {
    view["fileName"] =
        std::filesystem::path(clip["filePath"].get<std::string>()).filename().string();
    view.erase("filePath");
  }
  return view;
}

Json trackView(const Json& song, std::size_t index) {
  Json view = song["tracks"][index];
  view.erase("voice");
  view["index"] = index;
  for (std::size_t i = 0; i < view["clips"].size(); ++i) {
    view["clips"][i] = clipView(view["clips"][i], i);
  }
  return view;
}

double decibels(double linear) {
  return std::max(20 * std::log10(std::max(linear, 1e-9)), kSilenceDb);
}

// Peak and RMS of the bar that each track is playing; silence when the transport stands.
Json meters(const LiveSet& set) {
  const double tempo = set.song["tempo"];
  const auto frames = static_cast<std::size_t>(4 * 60 / tempo * kSampleRate);
  const double start = std::floor(positionOf(set) / 4) * 4;
  Json meters = Json::array();
  for (const Json& track : set.song["tracks"]) {
    double peak = 0;
    double power = 0;
    if (set.playingSince) {
      const Stereo sound = render(Json::array({track}), set.audio, tempo, start, frames);
      for (const float sample : sound) {
        peak = std::max(peak, std::abs(static_cast<double>(sample)));
        power += static_cast<double>(sample) * sample;
      }
    }
    meters.push_back({{"trackIndex", meters.size()},
                      {"peakDb", decibels(peak)},
                      {"rmsDb", decibels(std::sqrt(power / static_cast<double>(frames * 2)))}});
  }
  return meters;
}

bool matches(const Json& name, const char* pattern) {
  return std::regex_search(name.get_ref<const std::string&>(),
                           std::regex(pattern, std::regex::icase));
}

struct Finding {
  std::string_view kind, severity, advice;
  bool (*applies)(const Json& track);
};

constexpr std::array kFindings = {
    Finding{"default-name", "warning", "Says nothing about what it plays: rename it.",
            [](const Json& track) {
              return matches(track["name"], R"(^(\d+-)?(midi|audio|operator|wavetable)( \d+)?$)");
            }},
    Finding{"draft-name", "info", "Looks like a working title: rename it.",
            [](const Json& track) { return matches(track["name"], R"(\?|final|copy|untitled)"); }},
    Finding{"empty-track", "info", "Holds no clip: delete it or put it to use.",
            [](const Json& track) { return track["clips"].empty(); }},
    Finding{"no-headroom", "warning", "Fader above 0 dB: turn the source down instead.",
            [](const Json& track) { return track["volumeDb"] > 0; }},
    Finding{"left-armed", "warning", "Still armed for recording.",
            [](const Json& track) { return track["arm"].get<bool>(); }},
    Finding{"left-soloed", "warning", "Soloed: everything else is silent.",
            [](const Json& track) { return track["solo"].get<bool>(); }},
};

Json pitchClasses(const Json& clip) {
  Json profile(std::vector<double>(12, 0.0));
  for (const Json& note : clip["notes"]) {
    Json& sum = profile[note["pitch"].get<std::size_t>() % 12];
    sum = sum.get<double>() + note["duration"].get<double>();
  }
  return profile;
}

}  // namespace

Json health(LiveSet& /*set*/, const Json& /*body*/) {
  return {{"bridgeVersion", "0.17.10"},
          {"host", "practice"},
          {"capabilities",
           {"project.analyze", "mix_prep.analyze", "context.live", "key.source.audio",
            "key.source.midi", "tracks.create.midi", "clips.create.midi", "clips.notes.replace",
            "clips.notes.evolve", "arrangement.build.club", "arrangement.build.undo",
            "samples.library.search", "samples.library.import", "devices.parameters.read",
            "devices.parameters.write", "tracks.sends.write", "tracks.semantic_rename",
            "clips.color.sync"}}};
}

Json session(LiveSet& set, const Json& /*body*/) {
  Json tracks = Json::array();
  for (const Json& track : set.song["tracks"]) {
    tracks.push_back({{"index", tracks.size()}, {"name", track["name"]}, {"kind", track["kind"]}});
  }
  return {{"project", set.song["project"]},
          {"isPlaying", set.playingSince.has_value()},
          {"songTime", positionOf(set)},
          {"tempo", set.song["tempo"]},
          {"timeSignature", set.song["timeSignature"]},
          {"projectScale", set.song["projectScale"]},
          {"tracks", tracks}};
}

Json projectAnalysis(LiveSet& set, const Json& /*body*/) {
  Json tracks = Json::array();
  for (std::size_t i = 0; i < set.song["tracks"].size(); ++i) {
    tracks.push_back(trackView(set.song, i));
  }
  if (set.capture) {
    tracks.push_back({{"index", tracks.size()},
                      {"name", "Brindlevane master capture"},
                      {"kind", "audio"},
                      {"temporary", true}});
  }
  return {{"tracks", tracks},
          {"returns", set.song["returns"]},
          {"master", set.song["master"]},
          {"locators", set.song["locators"]},
          {"arrangementLength", arrangementEnd(set.song)}};
}

Json mixPreparation(LiveSet& set, const Json& /*body*/) {
  Json findings = Json::array();
  const Json& tracks = set.song["tracks"];
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    for (const Finding& finding : kFindings) {
      if (finding.applies(tracks[i])) {
        findings.push_back({{"kind", finding.kind},
                            {"severity", finding.severity},
                            {"trackIndex", i},
                            {"track", tracks[i]["name"]},
                            {"advice", finding.advice}});
      }
    }
  }
  return {{"findings", findings}, {"trackCount", tracks.size()}};
}

Json context(LiveSet& set, const Json& body) {
  const Json* clip = selectedClip(set);
  const std::size_t track = set.song["selectedTrack"];
  const std::size_t trackCount = set.song["tracks"].size();
  return {{"session", session(set, body)},
          {"projectAnalysis", projectAnalysis(set, body)},
          {"mixPreparation", mixPreparation(set, body)},
          {"meters", meters(set)},
          {"canUndo", !set.history.empty()},
          {"selection",
           {{"trackIndex", track < trackCount ? Json(track) : Json()},
            {"clipIndex", set.song["selectedClip"]},
            {"notes", clip == nullptr ? Json::array() : clip->value("notes", Json::array())}}}};
}

Json deviceParameters(LiveSet& set, const Json& body) {
  const Json& track = trackIn(set, body);
  const Json& device = track["devices"][indexIn(body, "deviceIndex", track["devices"].size(),
                                                "devices on this track")];
  Json parameters = device["parameters"];
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const Json& value = parameters[i]["value"];
    parameters[i]["display"] = shortNumber(value) + " " + parameters[i]["unit"].get<std::string>();
    parameters[i]["index"] = i;
  }
  return {{"track", track["name"]}, {"device", device["name"]}, {"parameters", parameters}};
}

Json keySource(LiveSet& set, const Json& /*body*/) {
  const Json* clip = selectedClip(set);
  if (clip == nullptr) {
    throw Refusal(409, "NO_CLIP_SELECTED", "Select a track that holds a clip first.");
  }
  const std::size_t track = set.song["selectedTrack"];
  Json source = {{"track", set.song["tracks"][track]["name"]},
                 {"clip", (*clip)["name"]},
                 {"project", set.song["project"]}};
  if (clip->contains("notes")) {
    source["kind"] = "midi";
    source["pitchClasses"] = pitchClasses(*clip);
    return source;
  }
  source["kind"] = "audio";
  source["filePath"] = (*clip)["filePath"];
  source["transposeSemitones"] = (*clip)["transposeSemitones"];
  if (clip->contains("fileSeconds")) {
    source["analysisRange"] = {{"startSeconds", 0}, {"durationSeconds", (*clip)["fileSeconds"]}};
  }
  return source;
}

}  // namespace brindlevane::practice
