#include "ListeningBench.h"

#include "platform/Json.h"
#include "support/AudioFiles.h"
#include "support/CannedBridge.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 9;
constexpr int kLongestListen = 90;
constexpr int kLongestKey = 75;

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
  double residentMiB() const { return server_.residentMiB(); }

 private:
  CannedBridge bridge_;
  ChildProcess server_{{BRINDLEVANE_PROGRAM}, bridge_.supportFolder()};
};

double secondsToRun(const std::vector<std::string>& command) {
  return secondsOf([&] { ChildProcess(command).finish(); });
}

void benchKinds(Table& table, Listener& listener, const fs::path& wav) {
  const auto add = [&](const fs::path& file, const std::string& peer,
                       const std::function<double()>& runPeer, double highest) {
    table.addTimes("90 s of " + file.extension().string().substr(1), peer,
                   takeTurns(
                       kRounds, [&] { return listener.secondsToAnswer(kListen, file); }, runPeer),
                   highest);
  };
  const auto ffmpeg = [](const fs::path& file, const std::vector<std::string>& filter) {
    std::vector<std::string> command{"ffmpeg", "-nostdin", "-i", file};
    command.insert(command.end(), filter.begin(), filter.end());
    command.insert(command.end(), {"-f", "null", "-"});
    return secondsToRun(command);
  };
  add(
      wav, "sox stats",
      [&] {
        return secondsToRun({"sox", wav, "-n", "stats"});
      },
      1.0);
  add(
      wav, "libsndfile decoding",
      [&] { return secondsOf([&] { decodeOnly(wav, kLongestListen); }); }, 3.5);
  for (const std::string kind : {"wav", "flac", "mp3", "m4a"}) {
    fs::path file = wav;
    file.replace_extension(kind);
    if (file != wav) {
      convertAudio(wav, file);
      add(
          file, "ffmpeg decoding", [&] { return ffmpeg(file, {}); }, 1.0);
    }
    add(
        file, "ffmpeg astats",
        [&] {
          return ffmpeg(file, {"-af", "astats"});
        },
        1.0);
  }
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
  Listener listener;
  listener.select(wav);
  const double idle = listener.residentMiB();
  (void)listener.listen();
  benchKinds(table, listener, wav);
  table.addTimes("key of 75 s", "libsndfile decoding",
                 takeTurns(
                     kRounds, [&] { return listener.secondsToAnswer(kFindKey, wav); },
                     [&] { return secondsOf([&] { decodeOnly(wav, kLongestKey); }); }),
                 4.0);
  benchRepeat(table, listener, wav);
  benchLengths(table, listener, wav);
  table.addMemory("more after all this", listener.residentMiB() - idle, 8);
}

}  // namespace brindlevane
