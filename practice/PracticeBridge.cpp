#include "practice/PracticeBridge.h"

#include "practice/Handlers.h"
#include "practice/Request.h"
#include "practice/Song.h"

#include <algorithm>
#include <array>

namespace brindlevane::practice {
namespace {

constexpr std::size_t kHistoryLength = 32;
constexpr int kNesting = 16;

struct Route {
  std::string_view method;
  std::string_view path;
  bool confirms;            // the body must carry "confirm": true
  bool checksRevision;      // the body must carry the revision of now
  bool changes;             // the revision goes up
  std::string_view undoes;  // what undo takes back, empty where it cannot
  Json (*handle)(LiveSet& set, const Json& body);
};

constexpr std::array kRoutes = {
    Route{"GET", "/v1/health", false, false, false, "", health},
    Route{"GET", "/v1/session", false, false, false, "", session},
    Route{"GET", "/v1/context", false, false, false, "", context},
    Route{"GET", "/v1/analysis/project", false, false, false, "", projectAnalysis},
    Route{"GET", "/v1/analysis/mix-prep", false, false, false, "", mixPreparation},
    Route{"GET", "/v1/key-source", false, false, false, "", keySource},
    Route{"POST", "/v1/devices/parameters/read", false, false, false, "", deviceParameters},
    Route{"POST", "/v1/devices/parameters", true, true, true, "set device parameter",
          setDeviceParameter},
    Route{"POST", "/v1/transport/play", false, false, false, "", play},
    Route{"POST", "/v1/transport/stop", false, false, false, "", stop},
    Route{"POST", "/v1/tempo", false, true, true, "set tempo", setTempo},
    Route{"POST", "/v1/tracks/create", true, true, true, "create track", createTrack},
    Route{"POST", "/v1/tracks/rename", true, true, true, "rename track", renameTrack},
    Route{"POST", "/v1/tracks/select", true, true, true, "", selectTrack},
    Route{"POST", "/v1/tracks/state", true, true, true, "set track state", setTrackState},
    Route{"POST", "/v1/tracks/volume", true, true, true, "set track volume", setTrackVolume},
    Route{"POST", "/v1/tracks/send", true, true, true, "set send level", setSendLevel},
    Route{"POST", "/v1/clips/midi", true, true, true, "create MIDI clip", createMidiClip},
    Route{"POST", "/v1/clips/midi/replace", true, true, true, "replace notes", replaceMidiClip},
    Route{"POST", "/v1/workflows/organize", true, true, true, "organize tracks", organizeTracks},
    Route{"POST", "/v1/arrangement/build", true, true, true, "build arrangement", buildArrangement},
    Route{"POST", "/v1/samples/search", false, false, false, "", searchSamples},
    Route{"POST", "/v1/samples/import", true, true, true, "import sample", importSample},
    Route{"POST", "/v1/master-capture/start", true, true, true, "", startCapture},
    Route{"POST", "/v1/master-capture/status", false, false, false, "", captureStatus},
    Route{"POST", "/v1/master-capture/cancel", true, false, true, "", endCapture},
    Route{"POST", "/v1/master-capture/cleanup", true, false, true, "", endCapture},
    Route{"POST", "/v1/undo", false, false, true, "", undo},
};

const Route& routeOf(const HttpRequest& request) {
  const auto* const route = std::ranges::find_if(kRoutes, [&request](const Route& row) {
    return row.path == request.path && row.method == request.method;
  });
  if (route != kRoutes.end()) {
    return *route;
  }
  if (std::ranges::find(kRoutes, request.path, &Route::path) != kRoutes.end()) {
    throw Refusal(405, "METHOD_NOT_ALLOWED", request.method + " is not for " + request.path + ".");
  }
  throw Refusal(404, "NOT_FOUND", "The bridge has no route " + request.path + ".");
}

Json bodyOf(const HttpRequest& request) {
  if (request.method == "GET") {
    return Json::object();
  }
  // What is nested deeply would be copied and printed as deeply.
  const auto shallow = [](int depth, Json::parse_event_t, const Json&) {
    if (depth > kNesting) {
      throw Refusal(400, "INVALID_JSON", "The body is nested too deeply.");
    }
    return true;
  };
  Json body = Json::parse(request.body, shallow, false);
  if (!body.is_object()) {
    throw Refusal(400, "INVALID_JSON", "The body must be a JSON object.");
  }
  return body;
}

void checkRules(const Route& route, const Json& body, std::int64_t revision) {
  if (route.confirms && body.value("confirm", Json()) != true) {
    throw Refusal(400, "CONFIRMATION_REQUIRED", "Ask the user first, then send confirm = true.");
  }
  if (route.checksRevision && body.value("expectedRevision", Json()) != revision) {
    throw Refusal(409, "REVISION_CONFLICT",
                  "The set has changed: it is at revision " + std::to_string(revision) +
                      ", the request expected " + body.value("expectedRevision", Json()).dump() +
                      ". Read the context again, check that the change still fits, and ask again "
                      "with the new revision.");
  }
}

Json carryOut(const Route& route, LiveSet& set, const Json& body) {
  if (!route.changes) {
    return route.handle(set, body);
  }
  Json before = set.song;
  try {
    Json result = route.handle(set, body);
    ++set.revision;
    if (!route.undoes.empty()) {
      set.history.emplace_back(route.undoes, std::move(before));
      if (set.history.size() > kHistoryLength) {
        set.history.erase(set.history.begin());
      }
    }
    return result;
  } catch (...) {
    set.song = std::move(before);
    throw;
  }
}

HttpAnswer refusal(int status, const std::string& code, const std::string& message) {
  const Json envelope = {{"ok", false}, {"error", {{"code", code}, {"message", message}}}};
  return {status, envelope.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

LiveSet openSet(const PrivateFolder& audioFolder, const std::vector<std::string>& files) {
  AudioPool audio(audioFolder.path());
  Json song = files.empty() ? nightFerry(audio) : setOfFiles(files);
  return {.audio = std::move(audio), .song = std::move(song)};
}

}  // namespace

HttpAnswer PracticeBridge::answer(const HttpRequest& request) {
  try {
    if (request.token != token_) {
      throw Refusal(403, "FORBIDDEN", "The token is not this bridge's.");
    }
    const Route& route = routeOf(request);
    const Json body = bodyOf(request);
    checkRules(route, body, set_.revision);
    Json result = carryOut(route, set_, body);
    result["revision"] = set_.revision;
    return {200, Json{{"ok", true}, {"result", std::move(result)}}.dump()};
  } catch (const Refusal& reason) {
    return refusal(reason.status, reason.code, reason.what());
  } catch (const std::exception& fault) {
    return refusal(500, "INTERNAL_ERROR", fault.what());
  }
}

RunningBridge::RunningBridge(const std::vector<std::string>& files)
    : token_(randomHex(48)),
      bridge_(openSet(audioFolder_, files), token_),
      listener_([this](const HttpRequest& request) { return bridge_.answer(request); }) {}

}  // namespace brindlevane::practice
