#include "tools/ToolTable.h"

#include "contract/MCPServerError.h"
#include "tools/Arguments.h"

#include <algorithm>
#include <utility>

namespace brindlevane::BrindlevaneMCP {
namespace {

constexpr Seconds kUsual{6};

Request get(const std::string& path, Seconds timeout = kUsual) {
  return {"GET", path, timeout};
}

Request post(const std::string& path, Seconds timeout = kUsual) {
  return {"POST", path, timeout};
}

/// A change that the bridge wants confirmed too.
Request postConfirmed(const std::string& path, Seconds timeout = kUsual,
                      Json fixed = Json::object()) {
  fixed["confirm"] = true;
  return {"POST", path, timeout, std::move(fixed)};
}

Tool row(const std::string& name, const std::string& description, Effect effect,
         const std::optional<Request>& request = {}, const std::vector<Argument>& arguments = {}) {
  return {name, description, effect, request, arguments};
}

}  // namespace

// Everywhere, schemas are stricter than checks in three ways: a member that no schema declares is
// ignored where a tool takes any, the members of a note are left to the bridge, and outer white
// space of a text does not count. They are laxer in one: an integer is below 2^63.
// NOLINTNEXTLINE(readability-function-size): a table.
const std::vector<Tool>& toolTable() {
  static const std::vector<Tool> kTools = {
      row("brindlevane_get_session",
          "Read the active Ableton Live project name, playback state, tempo, global Ableton scale "
          "metadata, track summary and revision. projectScale is metadata from Ableton and must "
          "never be presented as an analyzed musical key.",
          Effect::reads, get("/v1/session")),
      row("brindlevane_get_context",
          "Read Brindlevane's automatically refreshed Ableton context: session, tracks, clips, "
          "devices, selected parameters, returns, master, rolling meter windows and "
          "mix-preparation findings. Use this before answering project-specific questions.",
          Effect::reads, get("/v1/context", Seconds(10))),
      row("brindlevane_analyze_project",
          "Inspect the active Ableton project structure, tracks, clips, devices, parameters, "
          "returns and master. This is structural project data; it does not listen to rendered "
          "audio.",
          Effect::reads, get("/v1/analysis/project")),
      row("brindlevane_analyze_mix_preparation",
          "Analyze session organization and mix-preparation issues such as naming, routing, gain "
          "staging indicators, empty tracks and project hygiene.",
          Effect::reads, get("/v1/analysis/mix-prep")),
      row("brindlevane_get_device_parameters",
          "Read up to 512 exposed parameters for one Ableton device, including indices, names, "
          "native values, ranges, display strings and enabled state. Use the returned native range "
          "before proposing a change.",
          Effect::reads, post("/v1/devices/parameters/read"),
          {trackIndexProperty(),
           index("deviceIndex", "Zero-based device index from the selected track's devices.")}),
      row("brindlevane_find_key",
          "Analyze the selected Ableton audio or MIDI clip locally to estimate its musical key. "
          "For audio, Brindlevane listens to the source file; for MIDI, it analyzes note pitch "
          "classes. Select a representative clip first.",
          Effect::reads),
      row("brindlevane_listen_selected_clip",
          "Decode and measure the selected Ableton audio clip locally. Returns sample peak, RMS, "
          "crest factor, short-term dynamics, clipping, frequency-band balance, stereo "
          "correlation/width, spectral centroid, waveform and key. This measures the raw clip "
          "source before Ableton devices, returns and master processing; it is not a rendered "
          "master measurement.",
          Effect::reads),
      row("brindlevane_start_master_listen",
          "After explicit confirmation, record Ableton's actual master output in real time through "
          "a temporary audio track using Resampling. Ableton must be stopped. This plays the "
          "project, writes a temporary track and records 1–32 bars.",
          Effect::writesAnew, postConfirmed("/v1/master-capture/start"),
          {count("bars", 1, 32, "bars must be between 1 and 32.",
                 "Number of bars to capture in real time."),
           startTime("Arrangement start position in beats."), revisionProperty()}),
      row("brindlevane_get_master_listen", "Poll a confirmed master-listen job.", Effect::reads, {},
          {jobId()}),
      row("brindlevane_cancel_master_listen",
          "Stop and clean a running master-listen capture after explicit user confirmation. "
          "Restores transport and armed-track state and removes the temporary Brindlevane track.",
          Effect::writes, postConfirmed("/v1/master-capture/cancel"), {jobId()}),
      row("brindlevane_play", "Start Ableton Live playback after explicit user confirmation.",
          Effect::writesAnew, post("/v1/transport/play")),
      row("brindlevane_stop", "Stop Ableton Live playback after explicit user confirmation.",
          Effect::writes, post("/v1/transport/stop")),
      row("brindlevane_set_tempo",
          "Set the Ableton project tempo. First read the session revision, show the proposed "
          "change, then call with confirm=true and that expectedRevision.",
          Effect::writes, post("/v1/tempo"), {tempo(), sessionRevisionProperty()}),
      row("brindlevane_organize_tracks",
          "Semantically identify tracks from names, clip filenames, devices and bounded MIDI-note "
          "statistics, then apply clear numbered names and family colors. The whole batch is "
          "reversible; clips, devices and routing are preserved. Show the proposal and obtain "
          "explicit confirmation first.",
          Effect::writes, postConfirmed("/v1/workflows/organize"), {sessionRevisionProperty()}),
      row("brindlevane_build_arrangement",
          "Turn existing Session or Arrangement loops into a reversible 128-bar DJ-ready club "
          "arrangement. It creates evolving eight-bar layer changes across Intro, Groove, Build 1, "
          "Drop 1, Break, Build 2, a 32-bar Drop 2 and Outro, and rotates through available clip "
          "variations. Existing Arrangement content is preserved; new clips are appended after it. "
          "Read the latest context, explain the structure and obtain explicit confirmation first.",
          Effect::writes, postConfirmed("/v1/arrangement/build", Seconds(20)),
          {revisionProperty()}),
      row("brindlevane_create_midi_track",
          "Create a MIDI track in the active Ableton project. Read the latest context first, "
          "explain the change, and only call after explicit user confirmation.",
          Effect::writes, postConfirmed("/v1/tracks/create", kUsual, {{"kind", "midi"}}),
          trackCreationProperties()),
      row("brindlevane_create_audio_track",
          "Create an audio track in the active Ableton project. Read the latest context first, "
          "explain the change, and only call after explicit user confirmation.",
          Effect::writes, postConfirmed("/v1/tracks/create", kUsual, {{"kind", "audio"}}),
          trackCreationProperties()),
      // A role that is no string is left to the bridge, and a query needs one character that is no
      // white space, whatever the schemas say.
      row("brindlevane_search_samples",
          "Search the producer's local Ableton User Library, Factory Packs and standard sample "
          "folders by filename and musical role. Returns opaque sample IDs and metadata, never "
          "local file paths or audio. This is a local catalog search, not an audio audition.",
          Effect::reads, post("/v1/samples/search", Seconds(20)),
          {query(), role(), optional(count("limit", 1, 40, "limit must be between 1 and 40."))}),
      row("brindlevane_import_sample",
          "Import one exact sample returned by brindlevane_search_samples onto a new Ableton audio "
          "track at an Arrangement position. Show the chosen sample name and obtain explicit "
          "confirmation first. The entire new track is reversible through Brindlevane undo.",
          Effect::writes, postConfirmed("/v1/samples/import", Seconds(20)),
          {sampleId(), startTime("Arrangement position in beats."), revisionProperty(),
           optional(text("trackName"))}),
      // Looser than the schemas: any start of 0 or more, and no notes at all in "notes".
      row("brindlevane_create_midi_clip",
          "Create an Arrangement MIDI clip and optionally add up to 512 MIDI notes. Note startTime "
          "values are relative to the clip in beats. Confirm the exact track, position, length and "
          "musical content with the user first.",
          Effect::writes, postConfirmed("/v1/clips/midi", Seconds(10)),
          {trackIndexProperty(), clipStart(), clipLength(), revisionProperty(),
           optional(text("name")), newNotes()}),
      row("brindlevane_replace_selected_midi_clip",
          "Replace the notes of the MIDI clip currently open in Ableton's Detail view, on the "
          "specified selected MIDI track. Use this to improve or iterate on an existing "
          "Brindlevane pattern instead of creating another clip. The previous notes and clip name "
          "are reversible through Brindlevane undo. Show the exact musical change and obtain "
          "explicit confirmation first.",
          Effect::writes, postConfirmed("/v1/clips/midi/replace", Seconds(10)),
          {trackIndexProperty(), revisionProperty(), optional(text("name")), replacingNotes()}),
      row("brindlevane_rename_track",
          "Rename one Ableton track without changing clips, routing or devices. Confirm the track "
          "index and exact new name first.",
          Effect::writes, postConfirmed("/v1/tracks/rename"),
          {trackIndexProperty(), text("name"), revisionProperty()}),
      row("brindlevane_select_track",
          "Select one regular Ableton track by zero-based track index after user confirmation.",
          Effect::writes, postConfirmed("/v1/tracks/select"),
          {trackIndexProperty(), revisionProperty()}),
      row("brindlevane_set_track_state",
          "Set mute, solo or arm on one regular Ableton track. Read the current state and obtain "
          "explicit confirmation first.",
          Effect::writes, postConfirmed("/v1/tracks/state"),
          {trackIndexProperty(), stateField(), stateEnabled(), revisionProperty()}),
      row("brindlevane_set_track_volume",
          "Set a track fader using Ableton's displayed dB value between -70 and +6 dB. Read the "
          "current mixer state and obtain explicit confirmation first.",
          Effect::writes, postConfirmed("/v1/tracks/volume"),
          {trackIndexProperty(),
           number("displayDb", -70, 6, "displayDb must be between -70 and +6 dB."),
           revisionProperty()}),
      row("brindlevane_set_device_parameter",
          "Set one exposed Ableton device parameter using its native value. First call "
          "brindlevane_get_device_parameters, quote the current display value and proposed target, "
          "then obtain explicit confirmation. The change is reversible.",
          Effect::writes, postConfirmed("/v1/devices/parameters"),
          {trackIndexProperty(), index("deviceIndex"), index("parameterIndex"),
           anyNumber("value",
                     "Native parameter value inside the minimum/maximum reported by "
                     "brindlevane_get_device_parameters."),
           revisionProperty()}),
      row("brindlevane_set_send_level",
          "Set one track send using Ableton's displayed dB value from -70 to 0 dB. Confirm the "
          "track, return/send index and exact level first. The change is reversible.",
          Effect::writes, postConfirmed("/v1/tracks/send"),
          {trackIndexProperty(),
           index("sendIndex", "Zero-based return/send index from the project context."),
           number("displayDb", -70, 0, "displayDb must be between -70 and 0 dB."),
           revisionProperty()}),
      row("brindlevane_undo_last_organization",
          "Undo the most recent reversible Brindlevane action after explicit user confirmation.",
          Effect::writes, post("/v1/undo")),
  };
  return kTools;
}

const Tool& toolNamed(const std::string& name) {
  const auto found = std::ranges::find(toolTable(), name, &Tool::name);
  if (found == toolTable().end()) {
    throw MCPServerError::invalidArguments("Unknown Brindlevane tool: " + name);
  }
  return *found;
}

}  // namespace brindlevane::BrindlevaneMCP
