#include "ServerBench.h"

#include "platform/Json.h"
#include "support/CannedBridge.h"
#include "support/ChildProcess.h"
#include "support/LiveContext.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

constexpr const char* kInitialize =
    R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18",)"
    R"("capabilities":{},"clientInfo":{"name":"bench","version":"1"}}})"
    "\n";
constexpr const char* kPing = "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n";
constexpr const char* kToolsList = "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"tools/list\"}\n";
constexpr const char* kRefused =
    R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"brindlevane_set_tempo",)"
    R"("arguments":{"tempo":300,"expectedRevision":1,"confirm":true}}})"
    "\n";
constexpr const char* kGetContext = R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":)"
                                    R"({"name":"brindlevane_get_context","arguments":{}}})"
                                    "\n";

constexpr std::size_t kContextSize = 5'500'000;

/// The time of one of many round trips.
double roundTrip(ChildProcess& program, const char* line) {
  constexpr int kTrips = 500;
  return secondsOf([&] {
           for (int trip = 0; trip < kTrips; ++trip) {
             program.exchange(line);
           }
         }) /
         kTrips;
}

/// What the tool gave, in both of its forms; the spelling of equal numbers is free.
std::pair<Json, Json> formsOf(const std::string& answer) {
  const Json result = Json::parse(answer).at("result");
  return {result.at("structuredContent"),
          Json::parse(result.at("content").at(0).at("text").get<std::string>())};
}

void requireSameAnswer(ChildProcess& ours, ChildProcess& peer) {
  if (formsOf(ours.answer(kGetContext)) != formsOf(peer.answer(kGetContext))) {
    throw std::runtime_error("the two servers answer differently");
  }
}

}  // namespace

void benchStartUp(Table& table) {
  const CannedBridge bridge;
  const Medians medians = takeTurns(
      100,
      [&bridge] {
        std::optional<ChildProcess> server;
        return secondsOf([&] {
          server.emplace(std::vector<std::string>{BRINDLEVANE_PROGRAM}, bridge.supportFolder());
          server->exchange(kInitialize);
        });
      },
      [] { return secondsOf([] { ChildProcess({EMPTY_PROGRAM}).finish(); }); });
  table.addTimes("start to initialize", "empty program", medians, 3.0);
}

void benchRoundTrips(Table& table) {
  const CannedBridge bridge;
  ChildProcess server({BRINDLEVANE_PROGRAM}, bridge.supportFolder());
  ChildProcess echo({ECHO_PROGRAM});
  table.addTimes(
      "ping", "a line echoed",
      takeTurns(
          41, [&] { return roundTrip(server, kPing); }, [&] { return roundTrip(echo, kPing); }),
      1.5);
  table.addTimes("argument refused", "ping",
                 takeTurns(
                     41, [&] { return roundTrip(server, kRefused); },
                     [&] { return roundTrip(server, kPing); }),
                 2.0);
}

void benchRelay(Table& table) {
  CannedBridge bridge;
  ChildProcess server({BRINDLEVANE_PROGRAM}, bridge.supportFolder());
  ChildProcess node({"node", RELAY_SCRIPT}, bridge.supportFolder());
  bridge.answer("/v1/context", liveContext(kContextSize));
  requireSameAnswer(server, node);
  const auto relay = [](ChildProcess& relaying) {
    return secondsOf([&relaying] { relaying.exchange(kGetContext); });
  };
  table.addTimes("context of 5.5 MB", "Node.js",
                 takeTurns(
                     15, [&] { return relay(server); }, [&] { return relay(node); }),
                 0.6);

  const std::string whole = liveContext(2 * kContextSize);
  for (const std::size_t parts : {2U, 4U, 8U}) {
    const std::string part = liveContext(2 * kContextSize / parts);
    const auto relayOf = [&](const std::string& context, std::size_t times) {
      bridge.answer("/v1/context", context);
      return secondsOf([&] {
        for (std::size_t time = 0; time < times; ++time) {
          server.exchange(kGetContext);
        }
      });
    };
    table.addTimes("context of 11 MB", std::to_string(parts) + " contexts of as much",
                   takeTurns(
                       9, [&] { return relayOf(whole, 1); }, [&] { return relayOf(part, parts); }),
                   1.25);
  }
}

void benchMemory(Table& table) {
  CannedBridge bridge;
  ChildProcess server({BRINDLEVANE_PROGRAM}, bridge.supportFolder());
  server.exchange(kToolsList);
  const double idle = server.residentMiB();
  table.addMemory("held after tools/list", idle, 12);
  bridge.answer("/v1/context", liveContext(kContextSize));
  server.exchange(kGetContext);
  server.exchange(kPing);
  table.addMemory("more after 5.5 MB", server.residentMiB() - idle, 8);
}

}  // namespace brindlevane
