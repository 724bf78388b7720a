// The running server beside other programs; see scripts/bench.

#include "bench/LiveContext.h"
#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "platform/Json.h"
#include "support/ChildProcess.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

#include <sndfile.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

namespace fs = std::filesystem;
using Command = std::vector<std::string>;

constexpr std::size_t kContextSize = 5'500'000;

std::string request(const std::string& method, const Json& parameters = Json::object()) {
  return compactJson({{"jsonrpc", "2.0"}, {"id", 1}, {"method", method}, {"params", parameters}}) +
         "\n";
}

std::string call(const std::string& tool, const Json& arguments = Json::object()) {
  return request("tools/call", {{"name", "brindlevane_" + tool}, {"arguments", arguments}});
}

/// A bridge whose answers stand in a table.
class CannedBridge {
 public:
  CannedBridge() {
    answer("/v1/health",
           compactJson({{"bridgeVersion", BrindlevaneBridgeCompatibility::minimumVersion},
                        {"capabilities", BrindlevaneBridgeCompatibility::requiredCapabilities()}}));
    folder_.write("Brindlevane/bridge.json",
                  compactJson({{"bridgeUrl", "http://127.0.0.1:" + std::to_string(server_.port())},
                               {"authToken", std::string(32, 't')}}));
  }

  void answer(const std::string& path, const std::string& result) {
    const std::lock_guard lock(mutex_);
    answers_[path] = R"({"ok":true,"result":)" + result + "}";
  }

  void select(const fs::path& file) {
    answer("/v1/key-source", compactJson({{"kind", "audio"}, {"filePath", file.string()}}));
  }

  /// A program that finds this bridge.
  [[nodiscard]] std::unique_ptr<ChildProcess> client(const Command& command) const {
    return std::make_unique<ChildProcess>(command,
                                          std::vector{"XDG_DATA_HOME=" + folder_.path().string()});
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> answers_;
  TemporaryFolder folder_;
  LoopbackServer server_{[this](LoopbackServer::Connection& connection) {
    if (const auto asked = connection.receiveRequest()) {
      const std::lock_guard lock(mutex_);
      connection.respond(200, answers_[asked->target]);
    }
  }};
};

CannedBridge& bridge() {
  static CannedBridge bridge;
  return bridge;
}

ChildProcess& server() {
  static const std::unique_ptr<ChildProcess> kServer = bridge().client({BRINDLEVANE_PROGRAM});
  return *kServer;
}

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// From the start of a program to its end.
double secondsToRun(const Command& command) {
  return secondsOf([&command] {
    ChildProcess program(command);
    (void)program.restOfOutput();
    if (program.wait() != 0) {
      throw std::runtime_error(command.front() + " failed: " + program.restOfError());
    }
  });
}

double secondsToStart() {
  std::unique_ptr<ChildProcess> started;
  return secondsOf([&started] {
    started = bridge().client({BRINDLEVANE_PROGRAM});
    started->exchange(request("initialize", {{"protocolVersion", "2025-06-18"}}));
  });
}

double secondsOfTrips(ChildProcess& program, const std::string& line) {
  return secondsOf([&] {
    for (int trip = 0; trip < 500; ++trip) {
      program.exchange(line);
    }
  });
}

double secondsToRelay(ChildProcess& program, std::size_t size, int times = 1) {
  bridge().answer("/v1/context", liveContext(size));
  return secondsOf([&] {
    for (int time = 0; time < times; ++time) {
      program.exchange(call("get_context"));
    }
  });
}

ChildProcess& node() {
  static const std::unique_ptr<ChildProcess> kNode = [] {
    auto started = bridge().client({"node", RELAY_SCRIPT});
    bridge().answer("/v1/context", liveContext(kContextSize));
    // What both give has to be the same, for the spelling of numbers and the order of members.
    const auto heardFrom = [](ChildProcess& program) {
      program.send(call("get_context"));
      const Json result = Json::parse(program.line()).at("result");
      return std::pair(result.at("structuredContent"),
                       Json::parse(result.at("content").at(0).at("text").get<std::string>()));
    };
    if (heardFrom(*started) != heardFrom(server())) {
      throw std::runtime_error("the two servers answer differently");
    }
    return started;
  }();
  return *kNode;
}

/// A piece of music of this length in a format of this name.
fs::path music(const std::string& format, int seconds = 90) {
  static const TemporaryFolder kFolder;
  const std::string name = std::to_string(seconds);
  const fs::path wav = kFolder.file(name + ".wav");
  const fs::path file = kFolder.file(name + "." + format);
  if (!fs::exists(wav)) {
    const std::string bar = kFolder.file("bar.wav");
    secondsToRun({"sox",   "-R",  "-n",        "-r",    "44100", "-c",       "2",     "-b",
                  "16",    bar,   "synth",     "2",     "pluck", "A2",       "synth", "2",
                  "pluck", "mix", "E3",        "synth", "2",     "sawtooth", "mix",   "440",
                  "synth", "2",   "pinknoise", "mix",   "norm",  "-3"});
    secondsToRun({"sox", bar, wav, "repeat", std::to_string(seconds / 2), "trim", "0", name});
  }
  if (!fs::exists(file)) {
    secondsToRun({"ffmpeg", "-nostdin", "-i", wav, file});
  }
  return file;
}

/// The time to answer for a file that the server has not seen yet.
double secondsToHear(const fs::path& file, const char* tool = "listen_selected_clip") {
  fs::last_write_time(file, fs::last_write_time(file) - std::chrono::seconds(1));
  bridge().select(file);
  return secondsOf([tool] { server().exchange(call(tool)); });
}

double secondsToDecode(const fs::path& file, int seconds) {
  return secondsOf([&] {
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> opened(sf_open(file.c_str(), SFM_READ, &info),
                                                             sf_close);
    std::vector<float> block(std::size_t{4096} * 2);
    for (sf_count_t left = sf_count_t{seconds} * 44100; left > 0; left -= 4096) {
      if (sf_readf_float(opened.get(), block.data(), std::min<sf_count_t>(left, 4096)) == 0) {
        throw std::runtime_error(file.string() + " is too short");
      }
    }
  });
}

double secondsOfFfmpeg(const char* format) {
  return secondsToRun({"ffmpeg", "-nostdin", "-i", music(format), "-f", "null", "-"});
}

/// Relays what a listen to this clip gives.
double secondsToRelayAListen() {
  static const bool kIsPrepared = [] {
    (void)secondsToHear(music("wav"));
    server().send(call("listen_selected_clip"));
    bridge().answer("/v1/session",
                    Json::parse(server().line()).at("result").at("structuredContent").dump());
    return true;
  }();
  (void)kIsPrepared;
  return secondsOf([] { server().exchange(call("get_session")); });
}

double residentMiB(const ChildProcess& program) {
  const std::string command = "ps -o rss= -p " + std::to_string(program.number());
  const std::unique_ptr<FILE, int (*)(FILE*)> ps(popen(command.c_str(), "r"), pclose);
  double kibibytes = 0;
  if (ps == nullptr || std::fscanf(ps.get(), "%lf", &kibibytes) != 1) {
    throw std::runtime_error("ps does not tell the memory of a process");
  }
  return kibibytes / 1024;
}

/// What a new server holds after a call and a ping.
double residentAfter(const std::string& line) {
  const auto fresh = bridge().client({BRINDLEVANE_PROGRAM});
  fresh->exchange(line);
  fresh->exchange(request("ping"));
  return residentMiB(*fresh);
}

double residentAfterListen(const char* format) {
  bridge().select(music(format));
  return residentAfter(call("listen_selected_clip"));
}

using Amount = std::function<double()>;

struct Row {
  const char* group;
  const char* what;
  const char* peer;
  double most;  // the ratio that is still good; without a peer MiB
  int rounds;
  Amount ours;
  Amount peers;
};

const std::vector<Row>& rows() {
  constexpr const char* kRefused = "argument refused";
  static const std::string kTooFast =
      call("set_tempo", {{"tempo", 300}, {"expectedRevision", 1}, {"confirm", true}});
  static const Amount kPing = [] { return secondsOfTrips(server(), request("ping")); };
  static const Amount kHearWav = [] { return secondsToHear(music("wav")); };
  static const std::vector<Row> kRows = {
      {"start", "start to initialize", "empty program", 2, 100, secondsToStart,
       [] { return secondsToRun({EMPTY_PROGRAM}); }},
      {"trips", "500 pings", "lines echoed", 1.5, 41, kPing,
       [] {
         static ChildProcess echo({ECHO_PROGRAM});
         return secondsOfTrips(echo, request("ping"));
       }},
      {"trips", kRefused, "ping", 2.3, 41, [] { return secondsOfTrips(server(), kTooFast); },
       kPing},
      {"relay", "context of 5.5 MB", "Node.js", 0.6, 15,
       [] { return secondsToRelay(server(), kContextSize); },
       [] { return secondsToRelay(node(), kContextSize); }},
      {"relay", "context of 11 MB", "8 of as much", 1.25, 9,
       [] { return secondsToRelay(server(), 2 * kContextSize); },
       [] { return secondsToRelay(server(), kContextSize / 4, 8); }},
      {"memory",
       "after tools/list",
       "",
       4,
       1,
       [] { return residentAfter(request("tools/list")); },
       {}},
      {"memory",
       "after 5.5 MB",
       "",
       6,
       1,
       [] {
         bridge().answer("/v1/context", liveContext(kContextSize));
         return residentAfter(call("get_context"));
       },
       {}},
      {"memory", "after 90 s of wav", "", 4, 1, [] { return residentAfterListen("wav"); }, {}},
      {"memory", "after 90 s of m4a", "", 4, 1, [] { return residentAfterListen("m4a"); }, {}},
      {"listen", "90 s of wav", "sox stats", 0.8, 15, kHearWav,
       [] {
         return secondsToRun({"sox", music("wav"), "-n", "stats"});
       }},
      {"listen", "90 s of flac", "ffmpeg decoding", 0.75, 15,
       [] { return secondsToHear(music("flac")); }, [] { return secondsOfFfmpeg("flac"); }},
      {"listen", "90 s of mp3", "ffmpeg decoding", 0.85, 15,
       [] { return secondsToHear(music("mp3")); }, [] { return secondsOfFfmpeg("mp3"); }},
      {"listen", "90 s of m4a", "ffmpeg decoding", 1.2, 15,
       [] { return secondsToHear(music("m4a")); }, [] { return secondsOfFfmpeg("m4a"); }},
      {"listen", "90 s of wav", "libsndfile decoding", 3.3, 15, kHearWav,
       [] { return secondsToDecode(music("wav"), 90); }},
      {"listen", "key of 75 s of wav", "libsndfile decoding", 2.3, 15,
       [] { return secondsToHear(music("wav"), "find_key"); },
       [] { return secondsToDecode(music("wav"), 75); }},
      {"listen", "320 s of wav", "90 s of wav", 1.25, 15,
       [] { return secondsToHear(music("wav", 320)); }, kHearWav},
      {"listen", "the same clip again", "as much passed on", 0.9, 101,
       [] { return secondsOf([] { server().exchange(call("listen_selected_clip")); }); },
       secondsToRelayAListen},
  };
  return kRows;
}

double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + std::ssize(values) / 2;
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Measures and prints a row; both sides take turns.
bool isGood(const Row& row) {
  std::vector<double> ours;
  std::vector<double> peers;
  for (int round = row.peers ? -1 : 0; round < row.rounds; ++round) {
    const double own = row.ours();
    const double other = row.peers ? row.peers() : 1;
    if (round >= 0) {
      ours.push_back(own);
      peers.push_back(other);
    }
  }
  const double own = medianOf(ours);
  const double other = medianOf(peers);
  const bool good = own / other <= row.most;
  if (row.peers) {
    std::printf("%-20s %8.2f ms  %-20s %8.2f ms  ", row.what, own * 1e3, row.peer, other * 1e3);
  } else {
    std::printf("%-20s %8.2f MiB %32s ", row.what, own, "");
  }
  std::printf("%6.2f  %6.2f  %s\n", own / other, row.most, good ? "ok" : "MISSED");
  std::fflush(stdout);
  return good;
}

}  // namespace
}  // namespace brindlevane

/// Measures the groups that are named.
/// @return 0, or 1 when a row is worse than it may be, 2 when one cannot be measured
int main(int argc, char** argv) {
  const std::vector<std::string> groups(argv + 1, argv + argc);
  bool allGood = true;
  try {
    for (const brindlevane::Row& row : brindlevane::rows()) {
      if (std::ranges::find(groups, row.group) != groups.end()) {
        allGood = brindlevane::isGood(row) && allGood;
      }
    }
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "bench_server: %s\n", fault.what());
    return 2;
  }
  return allGood ? 0 : 1;
}
