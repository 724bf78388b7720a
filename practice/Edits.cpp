#include "practice/Handlers.h"
#include "practice/Request.h"
#include "practice/Roles.h"
#include "practice/Song.h"

#include <algorithm>
#include <limits>

namespace brindlevane::practice {
namespace {

bool flagIn(const Json& body, const std::string& key) {
  const auto found = body.find(key);
  if (found == body.end() || !found->is_boolean()) {
    throw Refusal(400, "INVALID_ARGUMENT", key + " must be true or false.");
  }
  return *found;
}

Json noteIn(const Json& note) {
  if (!note.is_object()) {
    throw Refusal(400, "INVALID_ARGUMENT", "Each note must be an object.");
  }
  return {{"pitch", indexIn(note, "pitch", 128, "pitches")},
          {"startTime", numberIn(note, "startTime", 0, kLastBeat)},
          {"duration", numberIn(note, "duration", 1e-6, kLastBeat)},
          {"velocity", note.contains("velocity") ? numberIn(note, "velocity", 1, 127) : 100},
          {"probability", note.contains("probability") ? numberIn(note, "probability", 0, 1) : 1},
          {"mute", note.contains("mute") && flagIn(note, "mute")}};
}

Json notesIn(const Json& body) {
  Json notes = Json::array();
  const Json given = body.value("notes", Json::array());
  if (!given.is_array() || given.size() > 512) {
    throw Refusal(400, "INVALID_ARGUMENT", "notes must be an array of at most 512 notes.");
  }
  std::ranges::transform(given, std::back_inserter(notes), noteIn);
  return notes;
}

Json& midiTrackIn(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  if (track["kind"] != "midi") {
    throw Refusal(400, "NOT_A_MIDI_TRACK",
                  "\"" + track["name"].get<std::string>() + "\" is an audio track.");
  }
  return track;
}

void refuseOverlap(const Json& track, double startTime, double length) {
  for (const Json& clip : track["clips"]) {
    const double start = clip["startTime"];
    const double end = start + clip["length"].get<double>();
    if (clip["view"] == "arrangement" && startTime < end && start < startTime + length) {
      throw Refusal(409, "POSITION_TAKEN",
                    "\"" + clip["name"].get<std::string>() + "\" lies there, from beat " +
                        shortNumber(start) + " to " + shortNumber(end) +
                        ". Choose another position or another track.");
    }
  }
}

}  // namespace

Json play(LiveSet& set, const Json& /*body*/) {
  if (!set.playingSince) {
    set.playingSince = std::chrono::steady_clock::now();
  }
  return {{"isPlaying", true}};
}

Json stop(LiveSet& set, const Json& /*body*/) {
  set.playingSince.reset();
  return {{"isPlaying", false}};
}

Json setTempo(LiveSet& set, const Json& body) {
  const Json before = set.song["tempo"];
  set.song["tempo"] = numberIn(body, "tempo", 40, 240);
  return {{"before", before}, {"tempo", set.song["tempo"]}};
}

Json createTrack(LiveSet& set, const Json& body) {
  Json& tracks = set.song["tracks"];
  const std::string kind = textIn(body, "kind");
  if (kind != "midi" && kind != "audio") {
    throw Refusal(400, "INVALID_ARGUMENT", "kind must be midi or audio.");
  }
  const std::size_t index =
      body.contains("index") ? indexIn(body, "index", tracks.size() + 1, "places") : tracks.size();
  const std::string fallback = std::to_string(index + 1) + (kind == "midi" ? "-MIDI" : "-Audio");
  const std::string name = textIn(body, "name", fallback);
  tracks.insert(tracks.begin() + static_cast<std::ptrdiff_t>(index),
                emptyTrack(name, kind, std::string(roleOfText(name).name)));
  set.song["selectedTrack"] = index;
  set.song["selectedClip"] = nullptr;
  return {{"trackIndex", index}, {"name", name}, {"kind", kind}};
}

Json renameTrack(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  const Json before = track["name"];
  track["name"] = textIn(body, "name");
  return {{"before", before}, {"name", track["name"]}};
}

Json selectTrack(LiveSet& set, const Json& body) {
  const Json& track = trackIn(set, body);
  set.song["selectedTrack"] = body["trackIndex"].get<std::size_t>();
  set.song["selectedClip"] = track["clips"].empty() ? Json() : Json(0);
  return {{"track", track["name"]},
          {"clip", track["clips"].empty() ? Json() : track["clips"][0]["name"]}};
}

Json setTrackState(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  const std::string field = textIn(body, "field");
  if (field != "mute" && field != "solo" && field != "arm") {
    throw Refusal(400, "INVALID_ARGUMENT", "field must be mute, solo or arm.");
  }
  track[field] = flagIn(body, "enabled");
  return {{"track", track["name"]}, {field, track[field]}};
}

Json setTrackVolume(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  const Json before = track["volumeDb"];
  track["volumeDb"] = numberIn(body, "displayDb", -70, 6);
  return {{"track", track["name"]}, {"beforeDb", before}, {"displayDb", track["volumeDb"]}};
}

Json setSendLevel(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  const std::size_t send = indexIn(body, "sendIndex", track["sends"].size(), "sends");
  const Json before = track["sends"][send];
  track["sends"][send] = numberIn(body, "displayDb", -70, 0);
  return {{"track", track["name"]},
          {"return", set.song["returns"][send]["name"]},
          {"beforeDb", before},
          {"displayDb", track["sends"][send]}};
}

Json setDeviceParameter(LiveSet& set, const Json& body) {
  Json& devices = trackIn(set, body)["devices"];
  Json& device = devices[indexIn(body, "deviceIndex", devices.size(), "devices on this track")];
  Json& parameters = device["parameters"];
  Json& parameter = parameters[indexIn(body, "parameterIndex", parameters.size(), "parameters")];
  const Json before = parameter["value"];
  parameter["value"] = numberIn(body, "value", parameter["minimum"], parameter["maximum"]);
  return {{"device", device["name"]},
          {"parameter", parameter["name"]},
          {"before", before},
          {"value", parameter["value"]},
          {"unit", parameter["unit"]}};
}

Json createMidiClip(LiveSet& set, const Json& body) {
  Json& track = midiTrackIn(set, body);
  const double startTime = numberIn(body, "startTime", 0, kLastBeat);
  const double length = numberIn(body, "length", 1e-6, 4096);
  refuseOverlap(track, startTime, length);
  Json clip = emptyClip(textIn(body, "name", "MIDI clip"), startTime, length);
  clip["color"] = track["color"];
  clip["notes"] = notesIn(body);
  Json answer = {{"track", track["name"]},
                 {"clip", clip["name"]},
                 {"clipIndex", track["clips"].size()},
                 {"noteCount", clip["notes"].size()}};
  set.song["selectedTrack"] = body["trackIndex"].get<std::size_t>();
  set.song["selectedClip"] = track["clips"].size();
  track["clips"].push_back(clip);
  return answer;
}

Json replaceMidiClip(LiveSet& set, const Json& body) {
  Json& track = midiTrackIn(set, body);
  const Json& selected = set.song["selectedClip"];
  if (set.song["selectedTrack"] != body["trackIndex"] || selected.is_null()) {
    throw Refusal(
        409, "CLIP_NOT_SELECTED",
        "Select track " + body["trackIndex"].dump() + " and open one of its MIDI clips first.");
  }
  Json& clip = track["clips"][selected.get<std::size_t>()];
  clip["notes"] = notesIn(body);
  clip["name"] = textIn(body, "name", clip["name"]);
  return {{"track", track["name"]}, {"clip", clip["name"]}, {"noteCount", clip["notes"].size()}};
}

Json undo(LiveSet& set, const Json& /*body*/) {
  if (set.history.empty()) {
    throw Refusal(409, "NOTHING_TO_UNDO", "There is no Brindlevane action left to undo.");
  }
  auto [label, before] = std::move(set.history.back());
  set.history.pop_back();
  set.song = std::move(before);
  return {{"undone", label}, {"actionsLeft", set.history.size()}};
}

}  // namespace brindlevane::practice
