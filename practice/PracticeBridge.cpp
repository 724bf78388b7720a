#include "practice/PracticeBridge.h"

#include "practice/Handlers.h"

#include <algorithm>
#include <array>

namespace brindlevane::practice {
namespace {

// What the body of a request must carry: "confirm": true, or the revision of now as
// "expectedRevision".
enum class Carries { nothing, confirmation, revision, both };

struct Route {
  std::string_view method;
  std::string_view path;
  Carries carries;
  Handler* handle;
};

constexpr std::array kRoutes = {
    Route{"GET", "/v1/health", Carries::nothing, health},
    Route{"GET", "/v1/session", Carries::nothing, session},
    Route{"GET", "/v1/context", Carries::nothing, context},
    Route{"GET", "/v1/analysis/project", Carries::nothing, projectAnalysis},
    Route{"GET", "/v1/analysis/mix-prep", Carries::nothing, mixPreparation},
    Route{"GET", "/v1/key-source", Carries::nothing, keySource},
    Route{"POST", "/v1/devices/parameters/read", Carries::nothing, deviceParameters},
    Route{"POST", "/v1/devices/parameters", Carries::both, setDeviceParameter},
    Route{"POST", "/v1/transport/play", Carries::nothing, play},
    Route{"POST", "/v1/transport/stop", Carries::nothing, stop},
    Route{"POST", "/v1/tempo", Carries::revision, setTempo},
    Route{"POST", "/v1/tracks/create", Carries::both, createTrack},
    Route{"POST", "/v1/tracks/rename", Carries::both, renameTrack},
    Route{"POST", "/v1/tracks/select", Carries::both, selectTrack},
    Route{"POST", "/v1/tracks/state", Carries::both, setTrackState},
    Route{"POST", "/v1/tracks/volume", Carries::both, setTrackVolume},
    Route{"POST", "/v1/tracks/send", Carries::both, setSendLevel},
    Route{"POST", "/v1/clips/midi", Carries::both, createMidiClip},
    Route{"POST", "/v1/clips/midi/replace", Carries::both, replaceMidiClip},
    Route{"POST", "/v1/workflows/organize", Carries::both, organizeTracks},
    Route{"POST", "/v1/arrangement/build", Carries::both, buildArrangement},
    Route{"POST", "/v1/samples/search", Carries::nothing, searchSamples},
    Route{"POST", "/v1/samples/import", Carries::both, importSample},
    Route{"POST", "/v1/master-capture/start", Carries::both, startCapture},
    Route{"POST", "/v1/master-capture/status", Carries::nothing, captureStatus},
    Route{"POST", "/v1/master-capture/cancel", Carries::confirmation, endCapture},
    Route{"POST", "/v1/master-capture/cleanup", Carries::confirmation, endCapture},
    Route{"POST", "/v1/undo", Carries::nothing, undo},
};

const Route& routeOf(const LoopbackServer::Request& request) {
  const auto* const route = std::ranges::find_if(kRoutes, [&request](const Route& row) {
    return row.path == request.target && row.method == request.method;
  });
  if (route == kRoutes.end()) {
    throw Refusal(404, "NOT_FOUND",
                  "The bridge has no route " + request.method + " " + request.target + ".");
  }
  return *route;
}

void checkBody(const Route& route, const Json& body, std::int64_t revision) {
  const bool both = route.carries == Carries::both;
  if ((both || route.carries == Carries::confirmation) && body.value("confirm", Json()) != true) {
    throw Refusal(400, "CONFIRMATION_REQUIRED", "Ask the user first, then send confirm = true.");
  }
  if ((both || route.carries == Carries::revision) &&
      body.value("expectedRevision", Json()) != revision) {
    throw Refusal(409, "REVISION_CONFLICT",
                  "The set has changed: it is at revision " + std::to_string(revision) +
                      ", the request expected " + body.value("expectedRevision", Json()).dump() +
                      ". Read the context again, check that the change still fits, and ask again "
                      "with the new revision.");
  }
}

// What changes nothing is no new revision and leaves no step to undo.
Json carryOut(const Route& route, LiveSet& set, const Json& body) {
  Json before = set.song;
  try {
    Json result = route.handle(set, body);
    if (set.song != before) {
      ++set.revision;
      if (result.contains("action")) {
        set.history.emplace_back(result["action"], std::move(before));
      }
    }
    return result;
  } catch (...) {
    set.song = std::move(before);
    throw;
  }
}

PracticeBridge::Answer refusal(int status, const std::string& code, const std::string& message) {
  const Json envelope = {{"ok", false}, {"error", {{"code", code}, {"message", message}}}};
  return {status, envelope.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

}  // namespace

PracticeBridge::Answer PracticeBridge::answer(const LoopbackServer::Request& request) {
  try {
    if (request.token != token_) {
      throw Refusal(403, "FORBIDDEN", "The token is not this bridge's.");
    }
    const Route& route = routeOf(request);
    const Json body = request.method == "GET" ? Json::object() : Json::parse(request.body);
    checkBody(route, body, set_.revision);
    Json result = carryOut(route, set_, body);
    result["revision"] = set_.revision;
    return {200, Json{{"ok", true}, {"result", std::move(result)}}.dump()};
  } catch (const Refusal& reason) {
    return refusal(reason.status, reason.code, reason.what());
  } catch (const std::exception& fault) {
    return refusal(500, "INTERNAL_ERROR", fault.what());
  }
}

}  // namespace brindlevane::practice
