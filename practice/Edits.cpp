#include "practice/Handlers.h"
#include "practice/Song.h"

#include <cmath>
#include <string>
#include <utility>

namespace brindlevane::practice {
namespace {

// Sets a value of a track and says so: what, of which track, from what to what.
Json changed(Json& place, const Json& value, const std::string& what, const Json& track,
             const char* unit = "") {
  const Json before = std::exchange(place, value);
  return {{"track", track["name"]},
          {"before", before},
          {"after", value},
          {"action", what + " of " + shown(track["name"]) + " from " + shown(before) + unit +
                         " to " + shown(value) + unit}};
}

Json notesIn(const Json& body) {
  Json notes = body.value("notes", Json::array());
  for (Json& note : notes) {
    const double pitch = note.at("pitch");
    if (pitch != std::floor(pitch)) {
      throw Refusal(400, "INVALID_PITCH",
                    "pitch " + shown(pitch) + " is not a whole number: notes lie on semitones.");
    }
    note["velocity"] = note.value("velocity", 100.0);
  }
  return notes;
}

Json& midiTrackIn(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  if (track["kind"] != "midi") {
    throw Refusal(400, "NOT_A_MIDI_TRACK", shown(track["name"]) + " is an audio track.");
  }
  return track;
}

void refuseOverlap(const Json& track, double startTime, double length) {
  for (const Json& clip : track["clips"]) {
    const double start = clip["startTime"];
    const double end = start + clip["length"].get<double>();
    if (startTime < end && start < startTime + length) {
      throw Refusal(409, "POSITION_TAKEN",
                    shown(clip["name"]) + " lies there, from beat " + shown(start) + " to " +
                        shown(end) + ". Choose another position or another track.");
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
  const Json before = std::exchange(set.song["tempo"], body.at("tempo"));
  return {{"before", before},
          {"tempo", body["tempo"]},
          {"action", "tempo from " + shown(before) + " to " + shown(body["tempo"])}};
}

Json createTrack(LiveSet& set, const Json& body) {
  Json& tracks = set.song["tracks"];
  const std::string kind = body.at("kind");
  const std::size_t index = body.value("index", tracks.size());
  if (index > tracks.size()) {
    throw Refusal(400, "INVALID_INDEX",
                  "A new track can come at " + std::to_string(tracks.size()) + " at most.");
  }
  const std::string name =
      body.value("name", std::to_string(index + 1) + (kind == "midi" ? "-MIDI" : "-Audio"));
  tracks.insert(tracks.begin() + static_cast<std::ptrdiff_t>(index), emptyTrack(name, kind, ""));
  set.song["selectedTrack"] = index;
  set.song["selectedClip"] = nullptr;
  return {{"trackIndex", index},
          {"name", name},
          {"kind", kind},
          {"action", "new " + kind + " track " + shown(name)}};
}

Json renameTrack(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  const Json before = track;
  return changed(track["name"], body.at("name"), "name", before);
}

Json selectTrack(LiveSet& set, const Json& body) {
  const Json& clips = trackIn(set, body)["clips"];
  set.song["selectedTrack"] = body["trackIndex"];
  set.song["selectedClip"] = clips.empty() ? Json() : Json(0);
  return {{"clip", clips.empty() ? Json() : clips[0]["name"]}};
}

Json setTrackState(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  const std::string field = body.at("field");
  return changed(track[field], body.at("enabled"), field, track);
}

Json setTrackVolume(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  return changed(track["volumeDb"], body.at("displayDb"), "volume", track, " dB");
}

Json setSendLevel(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  Json& send = elementIn(track["sends"], body, "sendIndex");
  const Json& name = elementIn(set.song["returns"], body, "sendIndex")["name"];
  return changed(send, body.at("displayDb"), "send to " + shown(name), track, " dB");
}

Json setDeviceParameter(LiveSet& set, const Json& body) {
  Json& track = trackIn(set, body);
  Json& device = elementIn(track["devices"], body, "deviceIndex");
  Json& parameter = elementIn(device["parameters"], body, "parameterIndex");
  const double value = body.at("value");
  if (value < parameter["minimum"] || value > parameter["maximum"]) {
    throw Refusal(400, "OUT_OF_RANGE",
                  shown(parameter["name"]) + " goes from " + shown(parameter["minimum"]) + " to " +
                      shown(parameter["maximum"]) + ".");
  }
  return changed(parameter["value"], value, shown(parameter["name"]), track);
}

Json createMidiClip(LiveSet& set, const Json& body) {
  Json& track = midiTrackIn(set, body);
  refuseOverlap(track, body.at("startTime"), body.at("length"));
  Json clip = emptyClip(body.value("name", "MIDI clip"), body["startTime"], body["length"]);
  clip.update({{"color", track["color"]}, {"notes", notesIn(body)}});
  const std::size_t index = track["clips"].size();
  set.song["selectedTrack"] = body["trackIndex"];
  set.song["selectedClip"] = index;
  track["clips"].push_back(clip);
  return {{"track", track["name"]},
          {"clip", clip["name"]},
          {"clipIndex", index},
          {"noteCount", clip["notes"].size()},
          {"action", "new clip " + shown(clip["name"]) + " on " + shown(track["name"])}};
}

Json replaceMidiClip(LiveSet& set, const Json& body) {
  Json& track = midiTrackIn(set, body);
  const Json& selected = set.song["selectedClip"];
  if (set.song["selectedTrack"] != body["trackIndex"] || selected.is_null()) {
    throw Refusal(
        409, "CLIP_NOT_SELECTED",
        "Select track " + shown(body["trackIndex"]) + " and open one of its MIDI clips first.");
  }
  Json& clip = track["clips"][selected.get<std::size_t>()];
  const std::string action = "notes of " + shown(clip["name"]) + " on " + shown(track["name"]) +
                             " from " + std::to_string(clip["notes"].size()) + " to ";
  clip["notes"] = notesIn(body);
  clip["name"] = body.value("name", clip["name"]);
  return {{"track", track["name"]},
          {"clip", clip["name"]},
          {"noteCount", clip["notes"].size()},
          {"action", action + std::to_string(clip["notes"].size())}};
}

Json undo(LiveSet& set, const Json& /*body*/) {
  if (set.history.empty()) {
    throw Refusal(409, "NOTHING_TO_UNDO", "There is no Brindlevane action left to undo.");
  }
  auto [action, before] = std::move(set.history.back());
  set.history.pop_back();
  set.song = std::move(before);
  return {{"undone", action}, {"actionsLeft", set.history.size()}};
}

}  // namespace brindlevane::practice
