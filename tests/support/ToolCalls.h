#pragma once

#include "platform/Json.h"

#include <string>

namespace brindlevane {

/// Calls that each tool accepts, with every argument that it knows: from the tool's name, without
/// its prefix, to the arguments.
inline const Json& completeCalls() {
  static const Json kCalls = [] {
    const auto changing = [](Json arguments) {
      arguments.update({{"confirm", true}, {"expectedRevision", 42}});
      return arguments;
    };
    const std::string jobId = "master_0123456789abcdef0123456789abcdef";
    const Json note = {{"pitch", 60}, {"startTime", 0}, {"duration", 1}};
    return Json{
        {"get_session", Json::object()},
        {"get_context", Json::object()},
        {"analyze_project", Json::object()},
        {"analyze_mix_preparation", Json::object()},
        {"find_key", Json::object()},
        {"listen_selected_clip", Json::object()},
        {"get_device_parameters", {{"trackIndex", 1.0}, {"deviceIndex", 2}}},
        {"start_master_listen", changing({{"bars", 8}, {"startTime", 1.5}})},
        {"get_master_listen", {{"jobId", jobId}}},
        {"cancel_master_listen", {{"jobId", " " + jobId + "\n"}, {"confirm", true}}},
        {"play", {{"confirm", true}}},
        {"stop", {{"confirm", true}}},
        {"undo_last_organization", {{"confirm", true}}},
        {"set_tempo", changing({{"tempo", 128}})},
        {"organize_tracks", changing(Json::object())},
        {"build_arrangement", changing(Json::object())},
        {"create_midi_track", changing({{"index", 2.0}, {"name", " A "}})},
        {"create_audio_track", changing({{"index", 3}, {"name", "B"}})},
        {"search_samples", {{"query", " kick "}, {"role", "fx"}, {"limit", 5}}},
        {"import_sample",
         changing(
             {{"sampleId", " 0123456789abcdef01234567 "}, {"startTime", 0}, {"trackName", " T"}})},
        {"create_midi_clip", changing({{"trackIndex", 0},
                                       {"startTime", 0},
                                       {"length", 4.0},
                                       {"name", "N "},
                                       {"notes", {note}}})},
        {"replace_selected_midi_clip",
         changing({{"trackIndex", 7}, {"name", "N"}, {"notes", {note}}})},
        {"rename_track", changing({{"trackIndex", 0}, {"name", " Basse "}})},
        {"select_track", changing({{"trackIndex", 5}})},
        {"set_track_state", changing({{"trackIndex", 6}, {"field", " arm "}, {"enabled", false}})},
        {"set_track_volume", changing({{"trackIndex", 3}, {"displayDb", -6.5}})},
        {"set_device_parameter",
         changing({{"trackIndex", 4}, {"deviceIndex", 1}, {"parameterIndex", 2}, {"value", 3}})},
        {"set_send_level", changing({{"trackIndex", 8}, {"sendIndex", 1}, {"displayDb", -12}})}};
  }();
  return kCalls;
}

}  // namespace brindlevane
