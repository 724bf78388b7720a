#include "ListeningBench.h"

#include "platform/Json.h"
#include "support/AudioFiles.h"
#include "support/CannedBridge.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 15;
constexpr int kLongestListen = 90;
constexpr int kLongestKey = 75;
constexpr std::array kOtherKinds{".flac", ".mp3", ".m4a"};

std::string callOf(const std::string& tool) {
  return R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"brindlevane_)" + tool +
         "\",\"arguments\":{}}}\n";
}

constexpr const char* kListen = "listen_selected_clip";
constexpr const char* kFindKey = "find_key";
constexpr const char* kGetSession = "get_session";

/// A server and a bridge on which a clip is selected.
class Listener {
 public:
  void select(const fs::path& file) {
    bridge_.answer("/v1/key-source", Json{{"kind", "audio"}, {"filePath", file}}.dump());
  }

  /// What the server measures in the selected clip.
  /// @throws std::runtime_error  nothing
  Json listen() {
    const Json result = Json::parse(server_.answer(callOf(kListen))).at("result");
    if (result.at("isError").get<bool>()) {
      throw std::runtime_error(result.dump());
    }
    return result.at("structuredContent");
  }

  double secondsToAnswer(const char* tool) {
    const std::string line = callOf(tool);
    return secondsOf([&] { server_.exchange(line); });
  }

  /// The time to answer for a file that the server has not seen yet.
  double secondsToAnswer(const char* tool, const fs::path& file) {
    renew(file);
    select(file);
    return secondsToAnswer(tool);
  }

  CannedBridge& bridge() { return bridge_; }

  /// What the server holds when it has answered and tidied up.
  double residentMiB() {
    server_.exchange("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"tools/list\"}\n");
    return server_.residentMiB();
  }

 private:
  CannedBridge bridge_;
  ChildProcess server_{{BRINDLEVANE_PROGRAM}, bridge_.supportFolder()};
};

void benchMemory(Table& table, Listener& listener, const fs::path& wav) {
  const double idle = listener.residentMiB();
  for (const char* kind : {".wav", ".m4a"}) {
    listener.select(fs::path(wav).replace_extension(kind));
    (void)listener.listen();
    table.addMemory(std::string("more after 90 s of ") + (kind + 1), listener.residentMiB() - idle,
                    8);
  }
}

/// What a user would run instead, with the file between its two halves.
struct Peer {
  const char* kind;
  const char* name;
  std::vector<std::string> command;
  std::vector<std::string> options;
  double highest;
};

double secondsToRun(const Peer& peer, const fs::path& file) {
  std::vector<std::string> command = peer.command;
  command.push_back(file);
  command.insert(command.end(), peer.options.begin(), peer.options.end());
  return secondsOf([&] { ChildProcess(command).finish(); });
}

void benchKinds(Table& table, Listener& listener, const fs::path& wav) {
  const std::vector<std::string> ffmpeg{"ffmpeg", "-nostdin", "-i"};
  const std::vector<std::string> decode{"-f", "null", "-"};
  const std::vector<std::string> astats{"-af", "astats", "-f", "null", "-"};
  const std::vector<Peer> peers = {
      {".wav", "sox stats", {"sox"}, {"-n", "stats"}, 1.0},
      {".wav", "ffmpeg astats", ffmpeg, astats, 1.0},
      {".flac", "ffmpeg decoding", ffmpeg, decode, 1.0},
      {".flac", "ffmpeg astats", ffmpeg, astats, 1.0},
      {".mp3", "ffmpeg decoding", ffmpeg, decode, 1.0},
      {".mp3", "ffmpeg astats", ffmpeg, astats, 1.0},
      {".m4a", "ffmpeg decoding", ffmpeg, decode, 1.0},
      {".m4a", "ffmpeg astats", ffmpeg, astats, 1.0},
  };
  for (const Peer& peer : peers) {
    const fs::path file = fs::path(wav).replace_extension(peer.kind);
    table.addTimes(std::string("90 s of ") + (peer.kind + 1), peer.name,
                   takeTurns(
                       kRounds, [&] { return listener.secondsToAnswer(kListen, file); },
                       [&] { return secondsToRun(peer, file); }),
                   peer.highest);
  }
}

void benchDecoding(Table& table, Listener& listener, const fs::path& wav) {
  const auto add = [&](const char* what, const char* tool, int seconds, double highest) {
    table.addTimes(what, "libsndfile decoding",
                   takeTurns(
                       kRounds, [&] { return listener.secondsToAnswer(tool, wav); },
                       [&] { return secondsOf([&] { decodeOnly(wav, seconds); }); }),
                   highest);
  };
  add("90 s of wav", kListen, kLongestListen, 3.5);
  add("key of 75 s of wav", kFindKey, kLongestKey, 4.0);
}

void benchRepeat(Table& table, Listener& listener, const fs::path& wav) {
  listener.select(wav);
  listener.bridge().answer("/v1/session", listener.listen().dump());
  table.addTimes("the same clip again", "as much passed on",
                 takeTurns(
                     101, [&] { return listener.secondsToAnswer(kListen); },
                     [&] { return listener.secondsToAnswer(kGetSession); }),
                 1.0);
}

void benchLengths(Table& table, Listener& listener, const fs::path& wav) {
  const fs::path half = wav.parent_path() / "half.wav";
  const fs::path longer = wav.parent_path() / "longer.wav";
  writeMusic(half, kLongestListen / 2);
  writeMusic(longer, 320);
  table.addTimes("90 s of wav", "twice 45 s",
                 takeTurns(
                     kRounds, [&] { return listener.secondsToAnswer(kListen, wav); },
                     [&] {
                       return listener.secondsToAnswer(kListen, half) +
                              listener.secondsToAnswer(kListen, half);
                     }),
                 1.25);
  table.addTimes("320 s of wav", "90 s of wav",
                 takeTurns(
                     kRounds, [&] { return listener.secondsToAnswer(kListen, longer); },
                     [&] { return listener.secondsToAnswer(kListen, wav); }),
                 1.25);
}

}  // namespace

void benchListening(Table& table) {
  const ScratchFolder folder;
  const fs::path wav = folder.path() / "music.wav";
  writeMusic(wav, kLongestListen);
  for (const char* kind : kOtherKinds) {
    convertAudio(wav, fs::path(wav).replace_extension(kind));
  }
  Listener listener;
  benchMemory(table, listener, wav);
  benchKinds(table, listener, wav);
  benchDecoding(table, listener, wav);
  benchRepeat(table, listener, wav);
  benchLengths(table, listener, wav);
}

}  // namespace brindlevane
