#include "listener/Hearing.h"
#include "platform/StandardStreams.h"
#include "server/BrindlevaneMCPMain.h"
#include "tests/support/AudioFiles.h"
#include "tests/support/FakeBridge.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/ScriptedBridge.h"
#include "tests/support/ServerProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

using ScarceMemory::kLasting;

const std::string kPing = R"({"id":"next","method":"ping"})";
const std::string kPong = R"({"id":"next","jsonrpc":"2.0","result":{}})";
const std::string kFileName = "sound.wav";

/// The answer to a tool call for which memory ran out.
std::string outOfMemory(const Json& id) {
  const Json error = {{"error", {{"type", "std::bad_alloc"}, {"message", "std::bad_alloc"}}}};
  const Json content = {{{"type", "text"}, {"text", error.dump(2)}}};
  const Json result = {{"isError", true}, {"structuredContent", error}, {"content", content}};
  return Json{{"jsonrpc", "2.0"}, {"id", id}, {"result", result}}.dump();
}

/// The bridge in memory, whose own work never wants for memory.
class Bridge {
 public:
  explicit Bridge(const Json& keySource = {}) {
    scripted_.succeed("/v1/context", {{"tracks", {{{"name", "Basse"}, {"volumeDb", -6.5}}}}});
    scripted_.succeed("/v1/clips/midi", "done");
    scripted_.succeed("/v1/key-source", keySource);
    scripted_.succeed("/v1/master-capture/status", {{"status", "failed"}});
    scripted_.succeed("/v1/master-capture/cleanup", true);
    scripted_.answers["/v1/tempo"] =
        HttpAnswer{409, R"({"ok":false,"error":{"code":"STALE","message":"Read it again."}})"};
  }

  [[nodiscard]] BridgeAccess access() {
    return {[this] { return scripted_.configuration; },
            [this](const HttpRequest& request, Seconds timeout) {
              const ScarceMemory::Pause pause;
              return scripted_.access().exchange(request, timeout);
            }};
  }

  /// How often the busiest route was asked.
  [[nodiscard]] std::ptrdiff_t mostOften() const {
    std::multiset<std::string> targets;
    for (const HttpRequest& request : scripted_.requests) {
      targets.insert(request.target);
    }
    std::size_t most = 0;
    for (const std::string& target : targets) {
      most = std::max(most, targets.count(target));
    }
    return static_cast<std::ptrdiff_t>(most);
  }

 private:
  ScriptedBridge scripted_;
};

/// A line as it is answered while the n-th allocation fails, n = 1, 2, 3 ... until none does.
class ScarceLine {
 public:
  explicit ScarceLine(std::string line, const Json& keySource = {})
      : line_(std::move(line)), keySource_(keySource) {}

  /// @return all answers that differ, and "" for none
  std::set<std::string> answers(long failures) {
    std::set<std::string> found;
    bool failed = true;
    for (long n = 1; failed; ++n) {
      Bridge bridge(keySource_);
      const BridgeAccess access = bridge.access();
      ScarceMemory::begin(n, failures);
      std::optional<std::string> answered = BrindlevaneMCPMain::answer(line_, access, heard);
      failed = ScarceMemory::end();
      EXPECT_LE(bridge.mostOften(), 1) << n;
      EXPECT_EQ(BrindlevaneMCPMain::answer(kPing, access), kPong + "\n") << n;
      EXPECT_TRUE(!answered || answered->find('\n') == answered->size() - 1) << n;
      last_ = answered ? normal(*answered) : "";
      found.insert(last_);
    }
    return found;
  }

  /// The answer when nothing failed.
  [[nodiscard]] const std::string& last() const { return last_; }

 private:
  static std::string normal(const std::string& answered) {
    const std::optional<Json> response = parseJson(answered);
    return response ? response->dump() : "no JSON: " + answered;
  }

  std::string line_;
  Json keySource_;
  std::string last_;
};

std::string callOf(const std::string& tool, const Json& arguments) {
  return Json{{"id", 7},
              {"method", "tools/call"},
              {"params", {{"name", "brindlevane_" + tool}, {"arguments", arguments}}}}
      .dump();
}

using Answers = std::set<std::string>;

TEST(Allocation, AnyOtherRequestIsAnsweredAllTheSame) {
  for (const char* line :
       {R"({"id":{"a":[1,"an id that is too long for a short string"]},"method":"ping"})",
        R"({"id":1,"method":"initialize"})", R"({"id":1,"method":"resources/list"})",
        R"({"id":1,"method":"prompts/list"})", R"({"id":1,"method":"nothing/known/by/this/name"})",
        R"({"id":1,"method":"tools/call","params":{"name":[1,2]}})", R"({"id":1,"method":7})",
        R"({"id":1,"method":"ping","params":[1,{"a":"b"}]}x)",
        R"({"method":"a notification that is a long one"})", R"({"id":1,"method":"tools/list"})"}) {
    SCOPED_TRACE(line);
    ScarceLine scarce(line);
    const Answers scarceForLong = scarce.answers(kLasting);
    EXPECT_EQ(scarce.answers(1), Answers{scarce.last()});
    EXPECT_EQ(scarceForLong, (Answers{"", scarce.last()}));
  }
}

TEST(Allocation, AToolCallGetsAnErrorResultAndIsNotRepeated) {
  const Json revised = {{"confirm", true}, {"expectedRevision", 4}};
  Json clip = revised;
  clip.update({{"trackIndex", 0},
               {"startTime", 0},
               {"length", 4.5},
               {"notes", {{{"pitch", 60}, {"startTime", 0}, {"duration", 1}}}}});
  Json tempo = revised;
  tempo["tempo"] = 128;
  const Json keySource = {{"kind", "midi"},
                          {"clip", "a name that is too long for a short string"},
                          {"pitchClasses", {6, 2, 3, 2, 4, 4, 2, 5, 2, 3, 2, 2}}};
  for (const std::string& line :
       {callOf("get_context", Json::object()), callOf("create_midi_clip", clip),
        callOf("set_tempo", tempo), callOf("set_tempo", {{"tempo", "fast"}, {"confirm", true}}),
        callOf("none_that_is_known", Json::object()), callOf("find_key", Json::object()),
        callOf("get_master_listen", {{"jobId", "master_0123456789abcdef0123456789abcdef"}})}) {
    SCOPED_TRACE(line);
    ScarceLine scarce(line, keySource);
    const Answers scarceForLong = scarce.answers(kLasting);
    EXPECT_EQ(scarce.answers(1), (Answers{outOfMemory(7), scarce.last()}));
    for (const std::string& answered : scarceForLong) {
      EXPECT_TRUE(answered.empty() || answered == outOfMemory(7) || answered == scarce.last())
          << answered;
    }
  }
}

TEST(Allocation, AnAudioFileIsMeasuredWholeOrNotAtAll) {
  const TemporaryFolder folder;
  const std::string file = folder.file(kFileName);
  testing::writeWav(file, {testing::tones({262, 330, 392}, 0.2, 40000)});
  const Json keySource = {{"kind", "audio"}, {"filePath", file}};
  for (const char* tool : {"find_key", "listen_selected_clip"}) {
    for (const long failures : {kLasting, 1L}) {
      ScarceLine scarce(callOf(tool, Json::object()), keySource);
      for (const std::string& answered : scarce.answers(failures)) {
        if (!answered.empty() && answered != scarce.last()) {
          EXPECT_EQ(Json::parse(answered)["result"]["isError"], true) << answered;
        }
      }
      EXPECT_EQ(Json::parse(scarce.last())["result"]["isError"], false) << scarce.last();
    }
  }
}

TEST(Allocation, ALineThatMemoryHasNoRoomForIsLeftOutWhole) {
  // Several times what is read at once, so that the line grows.
  const std::string longOne(300000, 'x');
  const std::string bytes = "before\n" + longOne + "\nafter\n";
  for (const long failures : {kLasting, 2L, 1L}) {
    bool failed = true;
    for (long n = 1; failed; ++n) {
      std::array<int, 2> ends{};
      ASSERT_EQ(pipe(ends.data()), 0);
      std::thread writer([&] {
        EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(ends[1]);
      });
      LineReader reader(ends[0]);
      std::vector<std::string> lines;
      lines.reserve(4);
      ScarceMemory::begin(n, failures);
      while (std::optional<std::string> line = reader.next()) {
        lines.push_back(std::move(*line));
      }
      failed = ScarceMemory::end();
      writer.join();
      close(ends[0]);
      std::vector<std::string> expected = {"before", longOne, "after"};
      if (failed && failures > 1) {
        expected.erase(expected.begin() + 1);
      }
      EXPECT_TRUE(lines == expected) << n << " " << failures << " " << lines.size();
    }
  }
}

TEST(Allocation, WithoutItsSecondThreadTheNextAnswerFindsThatNobodyListens) {
  ServerProcess server({"FAILING_ALLOCATION=1"});
  server.send(kPing + "\n");
  EXPECT_EQ(server.line(), kPong);
  server.closeOutput();
  server.send(kPing + "\n");
  EXPECT_EQ(server.wait(), 0);
}

TEST(Allocation, TheProcessAnswersEveryLineFromTheFirstOn) {
  std::atomic<int> edits = 0;
  const FakeBridge bridge([&edits](int connection) {
    const std::string request = FakeBridge::receive(connection);
    const bool isHealth = request.starts_with("GET ");
    edits += request.starts_with("POST ") ? 1 : 0;
    const Json health = {{"bridgeVersion", BrindlevaneBridgeCompatibility::minimumVersion},
                         {"capabilities", BrindlevaneBridgeCompatibility::requiredCapabilities()}};
    (void)FakeBridge::send(
        connection, "HTTP/1.0 200 OK\r\n\r\n" +
                        compactJson({{"ok", true}, {"result", isHealth ? health : Json(1)}}));
  });
  const TemporaryFolder folder;
  folder.write("Brindlevane/bridge.json",
               compactJson({{"bridgeUrl", "http://127.0.0.1:" + std::to_string(bridge.port())},
                            {"authToken", std::string(32, 't')}}));
  const std::string play = callOf("play", {{"confirm", true}});
  int status = 0;
  // Each of the first, which are the start's and the reader's, then ever fewer.
  for (int n = 1; status == 0; n += 1 + n / 40) {
    edits = 0;
    ServerProcess server(
        {"XDG_DATA_HOME=" + folder.path().string(), "FAILING_ALLOCATION=" + std::to_string(n)});
    server.send(kPing + "\n" + play + "\n" + kPing + "\n");
    server.closeInput();
    EXPECT_EQ(server.line(), kPong) << n;
    const std::optional<Json> response = parseJson(server.line());
    EXPECT_TRUE(response && response->at("id") == 7 && response->contains("result")) << n;
    EXPECT_EQ(server.restOfOutput(), kPong + "\n") << n;
    EXPECT_LE(edits, 1) << n;
    status = server.wait();
  }
  EXPECT_EQ(edits, 1);
  EXPECT_EQ(status, 3);
}

}  // namespace
}  // namespace brindlevane
