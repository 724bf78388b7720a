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

// What a request must bring, and what it does.
struct Rules {
  bool confirms;        // the body must carry "confirm": true
  bool checksRevision;  // the body must carry the revision of now
  bool changes;         // the revision goes up
};

constexpr Rules kOpen{false, false, false};
constexpr Rules kChange{false, false, true};
constexpr Rules kConfirmedChange{true, false, true};
constexpr Rules kWrite{false, true, true};
constexpr Rules kConfirmedWrite{true, true, true};

struct Route {
  std::string_view method;
  std::string_view path;
  Rules rules;
  std::string_view undoes;  // what undo takes back, empty where it cannot
  Json (*handle)(LiveSet& set, const Json& body);
};

constexpr std::array kRoutes = {
    Route{"GET", "/v1/health", kOpen, "", health},
    Route{"GET", "/v1/session", kOpen, "", session},
    Route{"GET", "/v1/context", kOpen, "", context},
    Route{"GET", "/v1/analysis/project", kOpen, "", projectAnalysis},
    Route{"GET", "/v1/analysis/mix-prep", kOpen, "", mixPreparation},
    Route{"GET", "/v1/key-source", kOpen, "", keySource},
    Route{"POST", "/v1/devices/parameters/read", kOpen, "", deviceParameters},
    Route{"POST", "/v1/devices/parameters", kConfirmedWrite, "set device parameter",
          setDeviceParameter},
    Route{"POST", "/v1/transport/play", kOpen, "", play},
    Route{"POST", "/v1/transport/stop", kOpen, "", stop},
    Route{"POST", "/v1/tempo", kWrite, "set tempo", setTempo},
    Route{"POST", "/v1/tracks/create", kConfirmedWrite, "create track", createTrack},
    Route{"POST", "/v1/tracks/rename", kConfirmedWrite, "rename track", renameTrack},
    Route{"POST", "/v1/tracks/select", kConfirmedWrite, "", selectTrack},
    Route{"POST", "/v1/tracks/state", kConfirmedWrite, "set track state", setTrackState},
    Route{"POST", "/v1/tracks/volume", kConfirmedWrite, "set track volume", setTrackVolume},
    Route{"POST", "/v1/tracks/send", kConfirmedWrite, "set send level", setSendLevel},
    Route{"POST", "/v1/clips/midi", kConfirmedWrite, "create MIDI clip", createMidiClip},
    Route{"POST", "/v1/clips/midi/replace", kConfirmedWrite, "replace notes", replaceMidiClip},
    Route{"POST", "/v1/workflows/organize", kConfirmedWrite, "organize tracks", organizeTracks},
    Route{"POST", "/v1/arrangement/build", kConfirmedWrite, "build arrangement", buildArrangement},
    Route{"POST", "/v1/samples/search", kOpen, "", searchSamples},
    Route{"POST", "/v1/samples/import", kConfirmedWrite, "import sample", importSample},
    Route{"POST", "/v1/master-capture/start", kConfirmedWrite, "", startCapture},
    Route{"POST", "/v1/master-capture/status", kOpen, "", captureStatus},
    Route{"POST", "/v1/master-capture/cancel", kConfirmedChange, "", endCapture},
    Route{"POST", "/v1/master-capture/cleanup", kConfirmedChange, "", endCapture},
    Route{"POST", "/v1/undo", kChange, "", undo},
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
  if (route.rules.confirms && body.value("confirm", Json()) != true) {
    throw Refusal(400, "CONFIRMATION_REQUIRED", "Ask the user first, then send confirm = true.");
  }
  if (route.rules.checksRevision && body.value("expectedRevision", Json()) != revision) {
    throw Refusal(409, "REVISION_CONFLICT",
                  "The set has changed: it is at revision " + std::to_string(revision) +
                      ", the request expected " + body.value("expectedRevision", Json()).dump() +
                      ". Read the context again, check that the change still fits, and ask again "
                      "with the new revision.");
  }
}

Json carryOut(const Route& route, LiveSet& set, const Json& body) {
  if (!route.rules.changes) {
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
