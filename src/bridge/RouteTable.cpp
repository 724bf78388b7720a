#include "bridge/RouteTable.h"

#include "tools/ArgumentReaders.h"
#include "tools/Identifiers.h"

#include <cstddef>
#include <map>
#include <string_view>

namespace brindlevane {
namespace {

using BrindlevaneMCP::kLongestJobId;
using BrindlevaneMCP::kLongestName;
using BrindlevaneMCP::kLongestSampleId;

BodyField integer(const char* key) {
  return [key](const Json& arguments, Json& body) {
    body[key] = BrindlevaneMCP::integer(arguments, key);
  };
}

BodyField number(const char* key) {
  return [key](const Json& arguments, Json& body) {
    body[key] = BrindlevaneMCP::number(arguments, key);
  };
}

BodyField floating(const char* key) {
  return [key](const Json& arguments, Json& body) {
    body[key] = BrindlevaneMCP::number(arguments, key).get<double>();
  };
}

BodyField text(const char* key, std::size_t maximumLength) {
  return [=](const Json& arguments, Json& body) {
    body[key] = BrindlevaneMCP::string(arguments, key, maximumLength);
  };
}

/// As received, whatever it is; left out when it is absent.
BodyField copied(const char* key) {
  return [key](const Json& arguments, Json& body) {
    if (const auto found = arguments.find(key); found != arguments.end()) {
      body[key] = *found;
    }
  };
}

BodyField constant(const char* key, const Json& value) {
  return [=](const Json&, Json& body) { body[key] = value; };
}

BodyField revision() {
  return integer("expectedRevision");
}

BodyField confirmed() {
  return constant("confirm", true);
}

using RouteMap = std::map<std::string_view, Route>;

// NOLINTNEXTLINE(readability-function-size): a table.
const RouteMap& routes() {
  static const RouteMap kRoutes = {
      {"brindlevane_get_session", {"GET", "/v1/session", Seconds(6), {}}},
      {"brindlevane_get_context", {"GET", "/v1/context", Seconds(10), {}}},
      {"brindlevane_analyze_project", {"GET", "/v1/analysis/project", Seconds(6), {}}},
      {"brindlevane_analyze_mix_preparation", {"GET", "/v1/analysis/mix-prep", Seconds(6), {}}},
      {"brindlevane_get_device_parameters",
       {"POST",
        "/v1/devices/parameters/read",
        Seconds(6),
        {integer("trackIndex"), integer("deviceIndex")}}},
      {"brindlevane_start_master_listen",
       {"POST",
        "/v1/master-capture/start",
        Seconds(6),
        {integer("bars"), number("startTime"), revision(), confirmed()}}},
      {"brindlevane_cancel_master_listen",
       {"POST",
        "/v1/master-capture/cancel",
        Seconds(6),
        {text("jobId", kLongestJobId), confirmed()}}},
      {"brindlevane_play", {"POST", "/v1/transport/play", Seconds(6), {}}},
      {"brindlevane_stop", {"POST", "/v1/transport/stop", Seconds(6), {}}},
      {"brindlevane_set_tempo", {"POST", "/v1/tempo", Seconds(6), {floating("tempo"), revision()}}},
      {"brindlevane_organize_tracks",
       {"POST", "/v1/workflows/organize", Seconds(6), {revision(), confirmed()}}},
      {"brindlevane_build_arrangement",
       {"POST", "/v1/arrangement/build", Seconds(20), {revision(), confirmed()}}},
      {"brindlevane_create_midi_track",
       {"POST",
        "/v1/tracks/create",
        Seconds(6),
        {constant("kind", "midi"), revision(), confirmed(), copied("index"), copied("name")}}},
      {"brindlevane_create_audio_track",
       {"POST",
        "/v1/tracks/create",
        Seconds(6),
        {constant("kind", "audio"), revision(), confirmed(), copied("index"), copied("name")}}},
      {"brindlevane_search_samples",
       {"POST",
        "/v1/samples/search",
        Seconds(20),
        {copied("query"), copied("role"), copied("limit")}}},
      {"brindlevane_import_sample",
       {"POST",
        "/v1/samples/import",
        Seconds(20),
        {text("sampleId", kLongestSampleId), number("startTime"), revision(), confirmed(),
         copied("trackName")}}},
      {"brindlevane_create_midi_clip",
       {"POST",
        "/v1/clips/midi",
        Seconds(10),
        {integer("trackIndex"), number("startTime"), number("length"), revision(), confirmed(),
         copied("name"), copied("notes")}}},
      {"brindlevane_replace_selected_midi_clip",
       {"POST",
        "/v1/clips/midi/replace",
        Seconds(10),
        {integer("trackIndex"), copied("notes"), revision(), confirmed(), copied("name")}}},
      {"brindlevane_rename_track",
       {"POST",
        "/v1/tracks/rename",
        Seconds(6),
        {integer("trackIndex"), text("name", kLongestName), revision(), confirmed()}}},
      {"brindlevane_select_track",
       {"POST", "/v1/tracks/select", Seconds(6), {integer("trackIndex"), revision(), confirmed()}}},
      {"brindlevane_set_track_state",
       {"POST",
        "/v1/tracks/state",
        Seconds(6),
        {integer("trackIndex"), text("field", kLongestName), copied("enabled"), revision(),
         confirmed()}}},
      {"brindlevane_set_track_volume",
       {"POST",
        "/v1/tracks/volume",
        Seconds(6),
        {integer("trackIndex"), number("displayDb"), revision(), confirmed()}}},
      {"brindlevane_set_device_parameter",
       {"POST",
        "/v1/devices/parameters",
        Seconds(6),
        {integer("trackIndex"), integer("deviceIndex"), integer("parameterIndex"), number("value"),
         revision(), confirmed()}}},
      {"brindlevane_set_send_level",
       {"POST",
        "/v1/tracks/send",
        Seconds(6),
        {integer("trackIndex"), integer("sendIndex"), number("displayDb"), revision(),
         confirmed()}}},
      {"brindlevane_undo_last_organization", {"POST", "/v1/undo", Seconds(6), {}}},
  };
  return kRoutes;
}

}  // namespace

std::optional<Json> Route::payload(const Json& arguments) const {
  if (method == "GET") {
    return std::nullopt;
  }
  Json payload = Json::object();
  for (const BodyField& field : body) {
    field(arguments, payload);
  }
  return payload;
}

const Route* routeOf(const std::string& tool) {
  const auto found = routes().find(tool);
  return found == routes().end() ? nullptr : &found->second;
}

std::vector<std::string> toolsWithRoutes() {
  std::vector<std::string> names;
  for (const auto& [name, route] : routes()) {
    names.emplace_back(name);
  }
  return names;
}

}  // namespace brindlevane
