#include "tools/Catalogue.h"

#include "tools/SchemaPieces.h"

namespace brindlevane::BrindlevaneMCP {

Json tool(const std::string& name, const std::string& description, const Json& properties,
          const std::vector<std::string>& required, bool readOnly, bool idempotent) {
  return {{"name", name},
          {"description", description},
          {"inputSchema",
           {{"type", "object"},
            {"properties", properties},
            {"required", required},
            {"additionalProperties", false}}},
          {"annotations",
           {{"readOnlyHint", readOnly},
            {"destructiveHint", false},
            {"idempotentHint", idempotent},
            {"openWorldHint", false}}}};
}

// NOLINTNEXTLINE(readability-function-size): a table.
const Json& tools() {
  static const Json kTools = Json::array(
      {tool("brindlevane_get_session",
            "Read the active Ableton Live project name, playback state, tempo, global Ableton "
            "scale metadata, track summary and revision. projectScale is metadata from Ableton and "
            "must never be presented as an analyzed musical key.",
            Json::object(), {}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_get_context",
            "Read Brindlevane's automatically refreshed Ableton context: session, tracks, clips, "
            "devices, selected parameters, returns, master, rolling meter windows and "
            "mix-preparation findings. Use this before answering project-specific questions.",
            Json::object(), {}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_analyze_project",
            "Inspect the active Ableton project structure, tracks, clips, devices, parameters, "
            "returns and master. This is structural project data; it does not listen to rendered "
            "audio.",
            Json::object(), {}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_analyze_mix_preparation",
            "Analyze session organization and mix-preparation issues such as naming, routing, gain "
            "staging indicators, empty tracks and project hygiene.",
            Json::object(), {}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_get_device_parameters",
            "Read up to 512 exposed parameters for one Ableton device, including indices, names, "
            "native values, ranges, display strings and enabled state. Use the returned native "
            "range before proposing a change.",
            {{"trackIndex", trackIndexProperty()},
             {"deviceIndex",
              {{"type", "integer"},
               {"minimum", 0},
               {"description", "Zero-based device index from the selected track's devices."}}}},
            {"trackIndex", "deviceIndex"}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_find_key",
            "Analyze the selected Ableton audio or MIDI clip locally to estimate its musical key. "
            "For audio, Brindlevane listens to the source file; for MIDI, it analyzes note pitch "
            "classes. Select a representative clip first.",
            Json::object(), {}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_listen_selected_clip",
            "Decode and measure the selected Ableton audio clip locally. Returns sample peak, RMS, "
            "crest factor, short-term dynamics, clipping, frequency-band balance, stereo "
            "correlation/width, spectral centroid, waveform and key. This measures the raw clip "
            "source before Ableton devices, returns and master processing; it is not a rendered "
            "master measurement.",
            Json::object(), {}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_start_master_listen",
            "After explicit confirmation, record Ableton's actual master output in real time "
            "through a temporary audio track using Resampling. Ableton must be stopped. This plays "
            "the project, writes a temporary track and records 1–32 bars.",
            {{"bars",
              {{"type", "integer"},
               {"minimum", 1},
               {"maximum", 32},
               {"description", "Number of bars to capture in real time."}}},
             {"startTime",
              {{"type", "number"},
               {"minimum", 0},
               {"description", "Arrangement start position in beats."}}},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"bars", "startTime", "expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/false),
       tool("brindlevane_get_master_listen", "Poll a confirmed master-listen job.",
            {{"jobId", jobIdProperty()}}, {"jobId"}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_cancel_master_listen",
            "Stop and clean a running master-listen capture after explicit user confirmation. "
            "Restores transport and armed-track state and removes the temporary Brindlevane track.",
            {{"jobId", jobIdProperty()}, {"confirm", confirmProperty()}}, {"jobId", "confirm"},
            /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_play", "Start Ableton Live playback after explicit user confirmation.",
            confirmationProperties(), {"confirm"}, /*readOnly=*/false, /*idempotent=*/false),
       tool("brindlevane_stop", "Stop Ableton Live playback after explicit user confirmation.",
            confirmationProperties(), {"confirm"}, /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_set_tempo",
            "Set the Ableton project tempo. First read the session revision, show the proposed "
            "change, then call with confirm=true and that expectedRevision.",
            {{"tempo",
              {{"type", "number"},
               {"minimum", 40},
               {"maximum", 240},
               {"description", "Target tempo in BPM."}}},
             {"expectedRevision", sessionRevisionProperty()},
             {"confirm", confirmProperty()}},
            {"tempo", "expectedRevision", "confirm"}, /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_organize_tracks",
            "Semantically identify tracks from names, clip filenames, devices and bounded "
            "MIDI-note statistics, then apply clear numbered names and family colors. The whole "
            "batch is reversible; clips, devices and routing are preserved. Show the proposal and "
            "obtain explicit confirmation first.",
            {{"expectedRevision", sessionRevisionProperty()}, {"confirm", confirmProperty()}},
            {"expectedRevision", "confirm"}, /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_build_arrangement",
            "Turn existing Session or Arrangement loops into a reversible 128-bar DJ-ready club "
            "arrangement. It creates evolving eight-bar layer changes across Intro, Groove, Build "
            "1, Drop 1, Break, Build 2, a 32-bar Drop 2 and Outro, and rotates through available "
            "clip variations. Existing Arrangement content is preserved; new clips are appended "
            "after it. Read the latest context, explain the structure and obtain explicit "
            "confirmation first.",
            {{"expectedRevision", revisionProperty()}, {"confirm", confirmProperty()}},
            {"expectedRevision", "confirm"}, /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_create_midi_track",
            "Create a MIDI track in the active Ableton project. Read the latest context first, "
            "explain the change, and only call after explicit user confirmation.",
            trackCreationProperties(), {"expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/true),
       tool("brindlevane_create_audio_track",
            "Create an audio track in the active Ableton project. Read the latest context first, "
            "explain the change, and only call after explicit user confirmation.",
            trackCreationProperties(), {"expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/true),
       tool("brindlevane_search_samples",
            "Search the producer's local Ableton User Library, Factory Packs and standard sample "
            "folders by filename and musical role. Returns opaque sample IDs and metadata, never "
            "local file paths or audio. This is a local catalog search, not an audio audition.",
            {{"query",
              {{"type", "string"},
               {"maxLength", 200},
               {"description", "Style, pack or filename words such as tight tech house kick."}}},
             {"role",
              {{"type", "string"},
               {"enum",
                {"kick", "clap", "hat", "percussion", "bass", "chords", "lead", "vocal", "fx",
                 "loop", "other"}}}},
             {"limit", {{"type", "integer"}, {"minimum", 1}, {"maximum", 40}}}},
            {}, /*readOnly=*/true, /*idempotent=*/true),
       tool("brindlevane_import_sample",
            "Import one exact sample returned by brindlevane_search_samples onto a new Ableton "
            "audio track at an Arrangement position. Show the chosen sample name and obtain "
            "explicit confirmation first. The entire new track is reversible through Brindlevane "
            "undo.",
            {{"sampleId", {{"type", "string"}, {"pattern", "^[a-f0-9]{24}$"}}},
             {"startTime",
              {{"type", "number"},
               {"minimum", 0},
               {"description", "Arrangement position in beats."}}},
             {"trackName", nameProperty()},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"sampleId", "startTime", "expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/true),
       tool("brindlevane_create_midi_clip",
            "Create an Arrangement MIDI clip and optionally add up to 512 MIDI notes. Note "
            "startTime values are relative to the clip in beats. Confirm the exact track, "
            "position, length and musical content with the user first.",
            {{"trackIndex", trackIndexProperty()},
             {"startTime",
              {{"type", "number"},
               {"minimum", 0},
               {"maximum", 1576800},
               {"description", "Arrangement position in beats."}}},
             {"length",
              {{"type", "number"},
               {"maximum", 4096},
               {"exclusiveMinimum", 0},
               {"description", "Clip length in beats."}}},
             {"name", nameProperty()},
             {"notes", midiNotesProperty()},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "startTime", "length", "expectedRevision", "confirm"},
            /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_replace_selected_midi_clip",
            "Replace the notes of the MIDI clip currently open in Ableton's Detail view, on the "
            "specified selected MIDI track. Use this to improve or iterate on an existing "
            "Brindlevane pattern instead of creating another clip. The previous notes and clip "
            "name are reversible through Brindlevane undo. Show the exact musical change and "
            "obtain explicit confirmation first.",
            {{"trackIndex", trackIndexProperty()},
             {"name", nameProperty()},
             {"notes", midiNotesProperty()},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "notes", "expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/true),
       tool("brindlevane_rename_track",
            "Rename one Ableton track without changing clips, routing or devices. Confirm the "
            "track index and exact new name first.",
            {{"trackIndex", trackIndexProperty()},
             {"name", nameProperty()},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "name", "expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/true),
       tool("brindlevane_select_track",
            "Select one regular Ableton track by zero-based track index after user confirmation.",
            {{"trackIndex", trackIndexProperty()},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "expectedRevision", "confirm"}, /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_set_track_state",
            "Set mute, solo or arm on one regular Ableton track. Read the current state and obtain "
            "explicit confirmation first.",
            {{"trackIndex", trackIndexProperty()},
             {"field", {{"type", "string"}, {"enum", {"mute", "solo", "arm"}}}},
             {"enabled", {{"type", "boolean"}}},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "field", "enabled", "expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/true),
       tool("brindlevane_set_track_volume",
            "Set a track fader using Ableton's displayed dB value between -70 and +6 dB. Read the "
            "current mixer state and obtain explicit confirmation first.",
            {{"trackIndex", trackIndexProperty()},
             {"displayDb", {{"type", "number"}, {"minimum", -70}, {"maximum", 6}}},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "displayDb", "expectedRevision", "confirm"}, /*readOnly=*/false,
            /*idempotent=*/true),
       tool("brindlevane_set_device_parameter",
            "Set one exposed Ableton device parameter using its native value. First call "
            "brindlevane_get_device_parameters, quote the current display value and proposed "
            "target, then obtain explicit confirmation. The change is reversible.",
            {{"trackIndex", trackIndexProperty()},
             {"deviceIndex", {{"type", "integer"}, {"minimum", 0}}},
             {"parameterIndex", {{"type", "integer"}, {"minimum", 0}}},
             {"value",
              {{"type", "number"},
               {"description",
                "Native parameter value inside the minimum/maximum reported by "
                "brindlevane_get_device_parameters."}}},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "deviceIndex", "parameterIndex", "value", "expectedRevision", "confirm"},
            /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_set_send_level",
            "Set one track send using Ableton's displayed dB value from -70 to 0 dB. Confirm the "
            "track, return/send index and exact level first. The change is reversible.",
            {{"trackIndex", trackIndexProperty()},
             {"sendIndex",
              {{"type", "integer"},
               {"minimum", 0},
               {"description", "Zero-based return/send index from the project context."}}},
             {"displayDb", {{"type", "number"}, {"minimum", -70}, {"maximum", 0}}},
             {"expectedRevision", revisionProperty()},
             {"confirm", confirmProperty()}},
            {"trackIndex", "sendIndex", "displayDb", "expectedRevision", "confirm"},
            /*readOnly=*/false, /*idempotent=*/true),
       tool("brindlevane_undo_last_organization",
            "Undo the most recent reversible Brindlevane action after explicit user confirmation.",
            confirmationProperties(), {"confirm"}, /*readOnly=*/false, /*idempotent=*/true)});
  return kTools;
}

}  // namespace brindlevane::BrindlevaneMCP
