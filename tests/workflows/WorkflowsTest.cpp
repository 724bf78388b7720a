#include "listener/Hearing.h"
#include "listening/LocalAudioAnalyzer.h"
#include "listening/MusicalKeyAnalyzer.h"
#include "server/CallTool.h"
#include "tests/support/AudioFiles.h"
#include "tests/support/ScriptedBridge.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace brindlevane {
namespace {

const std::string kJob = "master_0123456789abcdef0123456789abcdef";
const std::string kInvalid = "MCPServerError: BrindlevaneBridge returned an invalid response.";
const std::string kUnreadable = "Le fichier audio du clip est illisible.";
const std::string kTooQuiet =
    "AudioMeasurementError: Le clip ne contient pas assez de signal pour une analyse audio fiable.";
const std::string kSelect =
    "MCPServerError: Select an audio clip in Ableton before asking Brindlevane to listen. MIDI "
    "clips do not contain audio to decode.";
const Json kMajorProfile = {6.35, 2.23, 3.48, 2.33, 4.38, 4.09, 2.52, 5.19, 2.39, 3.66, 2.29, 2.88};

constexpr double kRate = 8000;
/// 12 s of which no stretch is like another.
const std::vector<float> kSong = testing::noise(1, 0.3, 96000);

/// How a clip is called of which the bridge tells no name.
const Json kUnnamed = {{"track", "Selected track"},
                       {"clip", "Selected clip"},
                       {"project", "Untitled"},
                       {"revision", 0}};

class Workflows : public ::testing::Test {
 protected:
  ToolResult call(const std::string& tool, const Json& arguments = Json::object()) {
    bridge.requests.clear();
    bridge.timeouts.clear();
    return callTool("brindlevane_" + tool, arguments, bridge.access(), heard);
  }
  ToolResult listenToMaster() { return call("get_master_listen", {{"jobId", "\t" + kJob + " "}}); }

  /// "type: message" of a result that is an error.
  static std::string messageOf(const ToolResult& result) {
    EXPECT_TRUE(result.isError);
    const Json& error = result.structuredContent.at("error");
    return error.at("type").get<std::string>() + ": " + error.at("message").get<std::string>();
  }

  /// The requests of the last call behind the look at the bridge's health, as "method path body".
  std::vector<std::string> requests() {
    std::vector<std::string> lines;
    for (std::size_t i = 1; i < bridge.requests.size(); ++i) {
      const HttpRequest& request = bridge.requests[i];
      lines.push_back(request.method + " " + request.target + " " + request.body);
      EXPECT_EQ(bridge.timeouts[i], std::chrono::seconds(6)) << request.target;
    }
    return lines;
  }

  std::string wav(const std::string& name, const std::vector<float>& samples) {
    testing::writeWav(folder.file(name), {samples}, kRate);
    return folder.file(name);
  }

  const std::vector<std::string> clipRequests = {"GET /v1/key-source "};
  const std::string statusRequest = R"(POST /v1/master-capture/status {"jobId":")" + kJob + R"("})";
  const std::string cleanUpRequest =
      R"(POST /v1/master-capture/cleanup {"confirm":true,"jobId":")" + kJob + R"("})";
  ScriptedBridge bridge;
  TemporaryFolder folder;
};

TEST_F(Workflows, AMidiClipHasTheKeyOfItsNotes) {
  const std::vector<std::pair<Json, std::string>> cases = {
      {2, "D major"},       {-1.0, "B major"}, {2.5, "D\u266f major"},
      {nullptr, "C major"}, {true, "C major"}, {"2", "C major"}};
  for (const auto& [transposition, key] : cases) {
    SCOPED_TRACE(transposition);
    bridge.succeed("/v1/key-source", {{"kind", "midi"},
                                      {"pitchClasses", kMajorProfile},
                                      {"transposeSemitones", transposition},
                                      {"analysisRange", {{"durationSeconds", 3}}},
                                      {"filePath", "/nowhere.wav"}});
    const ToolResult result = call("find_key");
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(compactJson(result.structuredContent),
              R"({"analyzedSeconds":0.0,"clip":"Selected clip","confidence":0.96,"key":")" + key +
                  R"(","kind":"midi","project":"Untitled","revision":0,"track":"Selected track"})");
    EXPECT_EQ(requests(), clipRequests);
  }
}

TEST_F(Workflows, AnAudioClipIsHeardWhereItPlaysAndAsItIsTransposed) {
  std::filesystem::create_directory(folder.file("a b"));
  const std::string path = wav("a b/\u00e9t\u00e9 #1?%20\n.wav", kSong);
  // What the bridge says of the range and the transposition, then start, seconds and semitones.
  const std::vector<std::tuple<Json, Json, double, double, double>> cases = {
      {nullptr, nullptr, 0, 12, 0},
      {Json::object(), 3, 0, 12, 3},
      {Json::array({7, 2}), -1.0, 0, 12, -1},
      {{{"startSeconds", 7}}, 0, 7, 5, 0},
      {{{"durationSeconds", 3.0}}, 1.5, 0, 3, 2},
      {{{"startSeconds", 6.5}, {"durationSeconds", 4}}, -1, 6.5, 4, -1},
      {{{"startSeconds", true}, {"durationSeconds", true}}, true, 0, 12, 0},
      {{{"startSeconds", 7}, {"durationSeconds", nullptr}}, "3", 7, 5, 0}};
  for (const auto& [range, transposition, start, seconds, semitones] : cases) {
    SCOPED_TRACE(range);
    Json source = {{"kind", "audio"},
                   {"filePath", path},
                   {"startSeconds", 1},
                   {"durationSeconds", 1},
                   {"pitchClasses", kMajorProfile}};
    if (!range.is_null()) {
      source.update({{"analysisRange", range}, {"transposeSemitones", transposition}});
    }
    bridge.succeed("/v1/key-source", source);
    const KeyDetection key =
        MusicalKeyAnalyzer::analyzeAudio(path, semitones, start, seconds, heard);
    Json found = {{"kind", "audio"},
                  {"key", key.key},
                  {"confidence", key.confidence},
                  {"analyzedSeconds", seconds}};
    found.update(kUnnamed);
    EXPECT_EQ(call("find_key").structuredContent, found);
    EXPECT_EQ(requests(), clipRequests);
    Json measured =
        LocalAudioAnalyzer::analyze(path, semitones, start, seconds, heard).dictionary();
    measured.update(kUnnamed);
    const ToolResult result = call("listen_selected_clip");
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(result.structuredContent, measured);
    EXPECT_EQ(requests(), clipRequests);
  }
}

TEST_F(Workflows, AResultBearsTheNamesOfItsClip) {
  const Json named = {{"track", "Bass"}, {"clip", ""}, {"project", "a/b"}, {"revision", 12.5}};
  const Json nameless = {{"track", 7}, {"clip", true}, {"project", nullptr}, {"revision", true}};
  for (const auto& [given, expected] : {std::pair(named, named), std::pair(nameless, kUnnamed)}) {
    Json source = given;
    source.update({{"kind", "midi"}, {"pitchClasses", kMajorProfile}});
    bridge.succeed("/v1/key-source", source);
    const Json result = call("find_key").structuredContent;
    for (const auto& [name, value] : expected.items()) {
      EXPECT_EQ(compactJson(result.at(name)), compactJson(value)) << name;
    }
  }
}

TEST_F(Workflows, AClipThatCannotBeHeardIsExplained) {
  const std::string flat =
      "KeyAnalysisError: Le clip ne contient pas assez de signal tonal pour "
      "d\u00e9terminer une key.";
  const Json withTruth = {true, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const std::vector<std::tuple<Json, std::string, std::string>> cases = {
      {nullptr, kInvalid, kSelect},
      {Json::object(), kInvalid, kSelect},
      {{{"kind", "Audio"}, {"filePath", "/x.wav"}}, kInvalid, kSelect},
      {{{"kind", "MIDI"}, {"pitchClasses", kMajorProfile}}, kInvalid, kSelect},
      {{{"kind", "audio"}, {"filePath", 1}, {"pitchClasses", kMajorProfile}}, kInvalid, kSelect},
      {{{"kind", "midi"}, {"filePath", "/x.wav"}, {"pitchClasses", 3}}, kInvalid, kSelect},
      {{{"kind", "midi"}, {"pitchClasses", withTruth}}, kInvalid, kSelect},
      {{{"kind", "midi"}, {"pitchClasses", std::vector<int>(12, 3)}}, flat, kSelect},
      {{{"kind", "audio"}, {"filePath", folder.file("none.wav")}},
       "KeyAnalysisError: " + kUnreadable,
       "AudioMeasurementError: " + kUnreadable},
      {{{"kind", "audio"}, {"filePath", wav("short.wav", std::vector<float>(900, 1))}},
       flat,
       kTooQuiet}};
  for (const auto& [source, noKey, noMeasurement] : cases) {
    bridge.succeed("/v1/key-source", source);
    EXPECT_EQ(messageOf(call("find_key")), noKey) << source;
    EXPECT_EQ(messageOf(call("listen_selected_clip")), noMeasurement) << source;
  }
}

TEST_F(Workflows, ARunningCaptureIsHandedOnUntouched) {
  for (const char* state : {"recording", "Ready", "FAILED", "ready ", ""}) {
    const Json status = {{"status", state}, {"progress", 0.5}, {"filePath", "/x.wav"}};
    bridge.succeed("/v1/master-capture/status", status);
    const ToolResult result = listenToMaster();
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(result.structuredContent, status);
    EXPECT_EQ(requests(), std::vector{statusRequest});
  }
}

TEST_F(Workflows, AFailedCaptureIsCleanedUpAndHandedOnAsAnError) {
  const Json status = {{"status", "failed"}, {"reason", "stopped"}, {"filePath", "/x.wav"}};
  bridge.succeed("/v1/master-capture/status", status);
  bridge.answers["/v1/master-capture/cleanup"] = HttpAnswer{500, R"({"ok":false})"};
  for (const bool isRemoved : {false, true}) {
    if (isRemoved) {
      bridge.succeed("/v1/master-capture/cleanup", nullptr);
    }
    const ToolResult result = listenToMaster();
    EXPECT_TRUE(result.isError);
    EXPECT_EQ(result.structuredContent, status);
    EXPECT_EQ(requests(), (std::vector{statusRequest, cleanUpRequest}));
  }
}

TEST_F(Workflows, AFinishedCaptureIsMeasuredWholeAndCleanedUp) {
  const std::string path = wav("master.wav", kSong);
  const Json status = {
      {"status", "ready"},       {"filePath", path},
      {"transposeSemitones", 3}, {"startSeconds", 6},
      {"durationSeconds", 2},    {"analysisRange", {{"startSeconds", 6}, {"durationSeconds", 2}}}};
  bridge.succeed("/v1/master-capture/status", status);
  for (const bool isRemoved : {false, true}) {
    if (isRemoved) {
      bridge.succeed("/v1/master-capture/cleanup", nullptr);
    }
    const ToolResult result = listenToMaster();
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(requests(), (std::vector{statusRequest, cleanUpRequest}));
    Json expected = LocalAudioAnalyzer::analyze(path, 0, 0, std::nullopt, heard).dictionary();
    EXPECT_EQ(expected.at("analyzedSeconds"), 12.0);
    expected.update(
        {{"capture", status},
         {"scope", "renderedMasterResampling"},
         {"measurementNotice",
          "Mesure locale de la sortie master r\u00e9ellement rendue par Ableton pendant la "
          "capture Resampling, avec devices, retours et traitements master actifs."},
         {"temporaryTrackRemoved", isRemoved}});
    if (!isRemoved) {
      expected["cleanupWarning"] =
          "La mesure est valide, mais la piste temporaire doit \u00eatre supprim\u00e9e "
          "manuellement.";
    }
    EXPECT_EQ(result.structuredContent, expected);
  }
}

TEST_F(Workflows, ACaptureWithoutAMeasurementIsLeftInPlace) {
  const std::string shortFile = wav("short.wav", std::vector<float>(2047, 1));
  const std::vector<std::pair<Json, std::string>> cases = {
      {nullptr, kInvalid},
      {{{"status", 1}}, kInvalid},
      {{{"status", "ready"}, {"filePath", nullptr}}, kInvalid},
      {{{"status", "ready"}, {"filePath", "/none.wav"}}, "AudioMeasurementError: " + kUnreadable},
      {{{"status", "ready"}, {"filePath", shortFile}}, kTooQuiet}};
  for (const auto& [status, message] : cases) {
    bridge.succeed("/v1/master-capture/status", status);
    EXPECT_EQ(messageOf(listenToMaster()), message) << status;
    EXPECT_EQ(requests(), std::vector{statusRequest}) << status;
  }
}

}  // namespace
}  // namespace brindlevane
