#include "practice/PracticeBridge.h"

#include "practice/Handlers.h"
#include "practice/Refusal.h"
#include "practice/Song.h"

#include <algorithm>
#include <array>
#include <random>

namespace brindlevane::practice {
namespace {

constexpr std::size_t kHistoryLength = 32;

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
  Json (*handle)(LiveSet& set, const Json& body);
};

constexpr std::array kRoutes = {
    Route{"GET", "/v1/health", kOpen, health},
    Route{"GET", "/v1/session", kOpen, session},
    Route{"GET", "/v1/context", kOpen, context},
    Route{"GET", "/v1/analysis/project", kOpen, projectAnalysis},
    Route{"GET", "/v1/analysis/mix-prep", kOpen, mixPreparation},
    Route{"GET", "/v1/key-source", kOpen, keySource},
    Route{"POST", "/v1/devices/parameters/read", kOpen, deviceParameters},
    Route{"POST", "/v1/devices/parameters", kConfirmedWrite, setDeviceParameter},
    Route{"POST", "/v1/transport/play", kOpen, play},
    Route{"POST", "/v1/transport/stop", kOpen, stop},
    Route{"POST", "/v1/tempo", kWrite, setTempo},
    Route{"POST", "/v1/tracks/create", kConfirmedWrite, createTrack},
    Route{"POST", "/v1/tracks/rename", kConfirmedWrite, renameTrack},
    Route{"POST", "/v1/tracks/select", kConfirmedWrite, selectTrack},
    Route{"POST", "/v1/tracks/state", kConfirmedWrite, setTrackState},
    Route{"POST", "/v1/tracks/volume", kConfirmedWrite, setTrackVolume},
    Route{"POST", "/v1/tracks/send", kConfirmedWrite, setSendLevel},
    Route{"POST", "/v1/clips/midi", kConfirmedWrite, createMidiClip},
    Route{"POST", "/v1/clips/midi/replace", kConfirmedWrite, replaceMidiClip},
    Route{"POST", "/v1/workflows/organize", kConfirmedWrite, organizeTracks},
    Route{"POST", "/v1/arrangement/build", kConfirmedWrite, buildArrangement},
    Route{"POST", "/v1/samples/search", kOpen, searchSamples},
    Route{"POST", "/v1/samples/import", kConfirmedWrite, importSample},
    Route{"POST", "/v1/master-capture/start", kConfirmedWrite, startCapture},
    Route{"POST", "/v1/master-capture/status", kOpen, captureStatus},
    Route{"POST", "/v1/master-capture/cancel", kConfirmedChange, endCapture},
    Route{"POST", "/v1/master-capture/cleanup", kConfirmedChange, endCapture},
    Route{"POST", "/v1/undo", kChange, undo},
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

// What changes nothing leaves no step to undo.
Json carryOut(const Route& route, LiveSet& set, const Json& body) {
  if (!route.rules.changes) {
    return route.handle(set, body);
  }
  Json before = set.song;
  try {
    Json result = route.handle(set, body);
    if (result.contains("action") && set.song == before) {
      return result;
    }
    ++set.revision;
    if (result.contains("action")) {
      set.history.emplace_back(result["action"], std::move(before));
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

PracticeBridge::Answer refusal(int status, const std::string& code, const std::string& message) {
  const Json envelope = {{"ok", false}, {"error", {{"code", code}, {"message", message}}}};
  return {status, envelope.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

LiveSet openSet(const TemporaryFolder& audioFolder, const std::vector<std::string>& files) {
  AudioPool audio(audioFolder.path());
  Json song = files.empty() ? nightFerry(audio) : setOfFiles(files);
  return {.audio = std::move(audio), .song = std::move(song)};
}

}  // namespace

PracticeBridge::Answer PracticeBridge::answer(const LoopbackServer::Request& request) {
  try {
    if (request.token != token_) {
      throw Refusal(403, "FORBIDDEN", "The token is not this bridge's.");
    }
    const Route& route = routeOf(request);
    const Json body = request.method == "GET" ? Json::object() : Json::parse(request.body);
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

std::string randomHex(std::size_t digits) {
  std::random_device random;
  std::string hex;
  while (hex.size() < digits) {
    hex.push_back("0123456789abcdef"[random() % 16]);
  }
  return hex;
}

RunningBridge::RunningBridge(const std::vector<std::string>& files)
    : token_(randomHex(48)),
      bridge_(openSet(audioFolder_, files), token_),
      server_([this](LoopbackServer::Connection& connection) {
        if (const auto request = connection.receiveRequest()) {
          const auto [status, body] = bridge_.answer(*request);
          connection.respond(status, body);
        }
      }) {}

}  // namespace brindlevane::practice
