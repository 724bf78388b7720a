#include "Views.h"

#include "Request.h"
#include "Roles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <numeric>

namespace brindlevane {
namespace {

constexpr double kSilenceDb = -70;

Json parameterView(const Json& parameter, std::size_t index) {
  Json view = parameter;
  view["index"] = index;
  view["display"] = shortNumber(parameter["value"]) + parameter["unit"].get<std::string>();
  view.erase("unit");
  return view;
}

Json devicesView(const Json& devices) {
  Json views = Json::array();
  for (const Json& device : devices) {
    Json shown = Json::object();
    for (const Json& parameter : device["parameters"]) {
      shown[parameter["name"]] = parameterView(parameter, 0)["display"];
    }
    views.push_back({{"index", views.size()}, {"name", device["name"]}, {"parameters", shown}});
  }
  return views;
}

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
  const Json& track = song["tracks"][index];
  Json view = track;
  view.erase("voice");
  view["index"] = index;
  view["devices"] = devicesView(track["devices"]);
  view["sends"] = Json::array();
  for (const Json& level : track["sends"]) {
    const std::size_t send = view["sends"].size();
    view["sends"].push_back(
        {{"index", send}, {"return", song["returns"][send]["name"]}, {"displayDb", level}});
  }
  view["clips"] = Json::array();
  for (const Json& clip : track["clips"]) {
    view["clips"].push_back(clipView(clip, view["clips"].size()));
  }
  return view;
}

Json busView(const Json& bus) {
  Json view = bus;
  view["devices"] = devicesView(bus["devices"]);
  return view;
}

double decibels(double linear) {
  return std::max(20 * std::log10(std::max(linear, 1e-9)), kSilenceDb);
}

// Peak and RMS of the last bar that each track played; silence when the transport stands.
Json meters(const LiveSet& set) {
  const double tempo = set.song["tempo"];
  const auto frames = static_cast<std::size_t>(4 * 60 / tempo * kSampleRate);
  const double start = positionOf(set) - 4;
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

bool isDefaultName(const std::string& name) {
  const std::vector<std::string> words = wordsOf(name);
  return std::ranges::all_of(words, [](const std::string& word) {
    return word == "midi" || word == "audio" || word == "wavetable" || word == "operator" ||
           word.find_first_not_of("0123456789") == std::string::npos;
  });
}

bool isDraftName(const std::string& name) {
  const std::vector<std::string> words = wordsOf(name);
  return name.find('?') != std::string::npos ||
         std::ranges::any_of(words, [](const std::string& word) {
           return word.starts_with("final") || word == "copy" || word == "new" ||
                  word == "untitled";
         });
}

struct Finding {
  std::string_view kind, severity, advice;
  bool (*applies)(const Json& track);
};

constexpr std::array kFindings = {
    Finding{"default-name", "warning", "Says nothing about what it plays: rename it.",
            [](const Json& track) { return isDefaultName(track["name"]); }},
    Finding{"draft-name", "info", "Looks like a working title: rename it.",
            [](const Json& track) { return isDraftName(track["name"]); }},
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
  Json returns = Json::array();
  std::ranges::transform(set.song["returns"], std::back_inserter(returns), busView);
  return {{"tracks", tracks},
          {"returns", returns},
          {"master", busView(set.song["master"])},
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
  Json parameters = Json::array();
  for (const Json& parameter : device["parameters"]) {
    parameters.push_back(parameterView(parameter, parameters.size()));
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

}  // namespace brindlevane
