#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "practice/Handlers.h"
#include "practice/Song.h"
#include "practice/Sound.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace brindlevane::practice {
namespace {

constexpr double kSilenceDb = -70;

bool isMidi(const Json& clip) {
  return !clip.contains("filePath");
}

// A clip without its notes, which are only counted, and without the place of its file.
Json clipView(const Json& clip, std::size_t index) {
  Json view = clip;
  view["index"] = index;
  view.erase("notes");
  if (isMidi(clip)) {
    view["noteCount"] = clip["notes"].size();
  } else {
    view["fileName"] =
        std::filesystem::path(clip["filePath"].get<std::string>()).filename().string();
    view.erase("filePath");
  }
  return view;
}

Json trackView(const Json& song, std::size_t index) {
  Json view = song["tracks"][index];
  view["index"] = index;
  for (std::size_t i = 0; i < view["clips"].size(); ++i) {
    view["clips"][i] = clipView(view["clips"][i], i);
  }
  return view;
}

double decibels(double linear) {
  return std::max(20 * std::log10(std::max(linear, 1e-9)), kSilenceDb);
}

// Peak and RMS of the bar that the transport is in.
Json meterOf(const Json& name, const Stereo& sound) {
  double peak = 0;
  double power = 0;
  for (const float sample : sound) {
    peak = std::max(peak, std::abs(static_cast<double>(sample)));
    power += static_cast<double>(sample) * sample;
  }
  const double count = std::max(static_cast<double>(sound.size()), 1.0);
  return {
      {"name", name}, {"peakDb", decibels(peak)}, {"rmsDb", decibels(std::sqrt(power / count))}};
}

// Of each track, each return and the master; silence when the transport stands.
Json meters(const LiveSet& set) {
  const Json& tracks = set.song["tracks"];
  const double tempo = set.song["tempo"];
  const Window bar = {
      .tempo = tempo,
      .startBeat = std::floor(positionOf(set) / 4) * 4,
      .frames = set.playingSince ? static_cast<std::size_t>(4 * 60 / tempo * kSampleRate) : 0};
  Json trackMeters = Json::array();
  std::vector<Stereo> sends(set.song["returns"].size(), Stereo(bar.frames * 2));
  for (const Json& track : tracks) {
    const Stereo sound = isHeard(track, tracks) ? renderTrack(track, bar) : Stereo(bar.frames * 2);
    trackMeters.push_back(meterOf(track["name"], sound));
    for (std::size_t i = 0; i < sends.size(); ++i) {
      const auto gain = static_cast<float>(std::pow(10, track["sends"][i].get<double>() / 20));
      std::ranges::transform(sound, sends[i], sends[i].begin(),
                             [gain](float sent, float sum) { return sum + gain * sent; });
    }
  }
  Json returnMeters = Json::array();
  for (const Stereo& sent : sends) {
    returnMeters.push_back(meterOf(set.song["returns"][returnMeters.size()]["name"], sent));
  }
  return {{"tracks", trackMeters},
          {"returns", returnMeters},
          {"master", meterOf(set.song["master"]["name"], renderMaster(tracks, bar))}};
}

// What is to be said of a track before it is mixed: kind, severity and advice of each finding.
Json findingsOf(const Json& track) {
  Json findings = Json::array();
  const std::string label = labelOf(track);
  if (track["name"].get<std::string>().find(label) == std::string::npos) {
    findings.push_back({{"kind", "unclear-name"},
                        {"severity", "warning"},
                        {"advice", "Does not say what it plays: call it " + label + "."}});
  }
  if (track["clips"].empty()) {
    findings.push_back({{"kind", "empty-track"},
                        {"severity", "info"},
                        {"advice", "Holds no clip: delete it or put it to use."}});
  }
  if (track["volumeDb"] > 0) {
    findings.push_back({{"kind", "no-headroom"},
                        {"severity", "warning"},
                        {"advice", "Fader above 0 dB: turn the source down instead."}});
  }
  return findings;
}

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
  return {{"bridgeVersion", BrindlevaneBridgeCompatibility::minimumVersion},
          {"host", "practice"},
          {"capabilities", BrindlevaneBridgeCompatibility::requiredCapabilities()}};
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
                      {"jobId", set.capture->jobId},
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
    for (Json finding : findingsOf(tracks[i])) {
      finding.update({{"trackIndex", i}, {"track", tracks[i]["name"]}});
      findings.push_back(finding);
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
          {"undo", set.history.empty() ? Json() : Json(set.history.back().first)},
          {"selection",
           {{"trackIndex", track < trackCount ? Json(track) : Json()},
            {"clipIndex", set.song["selectedClip"]},
            {"notes", clip != nullptr && isMidi(*clip) ? (*clip)["notes"] : Json::array()}}}};
}

Json deviceParameters(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  Json& device = elementIn(track["devices"], body, "deviceIndex");
  Json parameters = device["parameters"];
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const Json& value = parameters[i]["value"];
    parameters[i]["display"] = shown(value) + " " + parameters[i]["unit"].get<std::string>();
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
  if (isMidi(*clip)) {
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
