#include "server/CallTool.h"
#include "tests/support/ScriptedBridge.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

const std::string kJob = "master_0123456789abcdef0123456789abcdef";
const std::string kInvalid = "BrindlevaneBridge returned an invalid response.";
const std::string kUnreadable = "Le fichier audio du clip est illisible.";
const std::string kSelect =
    "Select an audio clip in Ableton before asking Brindlevane to listen. MIDI clips do not "
    "contain audio to decode.";
const Json kMajorProfile = {6.35, 2.23, 3.48, 2.33, 4.38, 4.09, 2.52, 5.19, 2.39, 3.66, 2.29, 2.88};

void append16(std::string& bytes, unsigned value) {
  bytes += static_cast<char>(value & 0xFFU);
  bytes += static_cast<char>(value >> 8U & 0xFFU);
}

void append32(std::string& bytes, unsigned value) {
  append16(bytes, value & 0xFFFFU);
  append16(bytes, value >> 16U);
}

/// A mono 16-bit WAV file of the tones C4, E4 and G4, at half of full scale. The logarithm in the
/// chroma lifts the skirts of pure tones, which makes it E minor by a direct sum of the DFT, too.
std::string chord(double seconds) {
  constexpr double kRate = 44100;
  std::string samples;
  for (int i = 0; i < static_cast<int>(seconds * kRate); ++i) {
    double sum = 0;
    for (const double frequency : {261.63, 329.63, 392.0}) {
      sum += std::sin(2 * std::numbers::pi * frequency * i / kRate) / 6;
    }
    append16(samples, static_cast<std::uint16_t>(std::lround(sum * 32767)));
  }
  std::string file = "RIFF";
  append32(file, static_cast<unsigned>(36 + samples.size()));
  file += "WAVEfmt ";
  append32(file, 16);
  append16(file, 1);
  append16(file, 1);
  append32(file, 44100);
  append32(file, 88200);
  append16(file, 2);
  append16(file, 16);
  file += "data";
  append32(file, static_cast<unsigned>(samples.size()));
  return file + samples;
}

class Workflows : public testing::Test {
 protected:
  ToolResult call(const std::string& tool, const Json& arguments = Json::object()) {
    return callTool("brindlevane_" + tool, arguments, bridge.access());
  }

  /// "type: message" of a call that fails.
  std::string failureOf(const std::string& tool, const Json& arguments = Json::object()) {
    const ToolResult result = call(tool, arguments);
    EXPECT_TRUE(result.isError);
    const Json& error = result.structuredContent.at("error");
    return error.at("type").get<std::string>() + ": " + error.at("message").get<std::string>();
  }

  [[nodiscard]] int cleanUps() const {
    int count = 0;
    for (const HttpRequest& request : bridge.requests) {
      if (request.target == "/v1/master-capture/cleanup") {
        EXPECT_EQ(request.body, R"({"confirm":true,"jobId":")" + kJob + R"("})");
        ++count;
      }
    }
    return count;
  }

  std::string write(const std::string& name, double seconds) {
    return folder.write(name, chord(seconds)).string();
  }

  ScriptedBridge bridge;
  TemporaryFolder folder;
};

TEST_F(Workflows, AMidiClipHasTheKeyOfItsNotes) {
  bridge.succeed("/v1/key-source", {{"kind", "midi"},
                                    {"pitchClasses", kMajorProfile},
                                    {"transposeSemitones", 2},
                                    {"filePath", "/nowhere.wav"},
                                    {"track", "Chords"},
                                    {"clip", 7},
                                    {"revision", "9"}});
  const ToolResult result = call("find_key");
  EXPECT_FALSE(result.isError);
  EXPECT_EQ(compactJson(result.structuredContent),
            R"({"analyzedSeconds":0.0,"clip":"Selected clip","confidence":0.96,)"
            R"("key":"D major","kind":"midi","project":"Untitled","revision":0,"track":"Chords"})");
}

TEST_F(Workflows, AnAudioClipIsHeardWhereItPlays) {
  Json source = {{"kind", "audio"},
                 {"filePath", write("a b/\u00e9t\u00e9 #1?%20\n.wav", 6)},
                 {"transposeSemitones", -1.0},
                 {"analysisRange", {{"startSeconds", 1.5}, {"durationSeconds", 2}}},
                 {"project", "Set"},
                 {"revision", 12},
                 {"pitchClasses", "ignored"}};
  bridge.succeed("/v1/key-source", source);
  const Json key = call("find_key").structuredContent;
  EXPECT_EQ(key.at("key"), "D\u266f minor");
  EXPECT_EQ(key.at("analyzedSeconds"), 2.0);
  EXPECT_EQ(key.size(), 8U);

  const Json heard = call("listen_selected_clip").structuredContent;
  EXPECT_EQ(heard.at("analyzedSeconds"), 2.0);
  EXPECT_EQ(heard.at("sourceDurationSeconds"), 6.0);
  EXPECT_EQ(heard.at("scope"), "rawClipSourcePreFx");
  EXPECT_EQ(heard.at("key"), "D\u266f minor");
  EXPECT_EQ(heard.at("track"), "Selected track");
  EXPECT_EQ(heard.at("project"), "Set");
  EXPECT_EQ(heard.at("revision"), 12);
  EXPECT_EQ(heard.size(), 17U + 2U + 4U);

  for (const Json& range : {Json(nullptr), Json::object(), Json({{"durationSeconds", "2"}})}) {
    source["analysisRange"] = range;
    bridge.succeed("/v1/key-source", source);
    EXPECT_EQ(call("listen_selected_clip").structuredContent.at("analyzedSeconds"), 6.0) << range;
  }
}

TEST_F(Workflows, AClipThatCannotBeHeardIsExplained) {
  const std::string server = "MCPServerError: ";
  const std::string shortFile = write("short.wav", 0.02);
  const std::string flat =
      "KeyAnalysisError: Le clip ne contient pas assez de signal tonal pour "
      "d\u00e9terminer une key.";
  const std::vector<std::tuple<Json, std::string, std::string>> cases = {
      {nullptr, server + kInvalid, server + kSelect},
      {Json::object(), server + kInvalid, server + kSelect},
      {{{"kind", "Audio"}, {"filePath", "/x.wav"}}, server + kInvalid, server + kSelect},
      {{{"kind", "audio"}}, server + kInvalid, server + kSelect},
      {{{"kind", "audio"}, {"filePath", 1}}, server + kInvalid, server + kSelect},
      {{{"kind", "midi"}, {"filePath", "/x.wav"}}, server + kInvalid, server + kSelect},
      {{{"kind", "midi"}, {"pitchClasses", {1, "2"}}}, server + kInvalid, server + kSelect},
      {{{"kind", "midi"}, {"pitchClasses", Json::array()}}, flat, server + kSelect},
      {{{"kind", "midi"}, {"pitchClasses", std::vector<int>(12, 3)}}, flat, server + kSelect},
      {{{"kind", "audio"}, {"filePath", folder.path().string() + "/none.wav"}},
       "KeyAnalysisError: " + kUnreadable,
       "AudioMeasurementError: " + kUnreadable},
      {{{"kind", "audio"}, {"filePath", shortFile}},
       flat,
       "AudioMeasurementError: Le clip ne contient pas assez de signal pour une analyse audio "
       "fiable."}};
  for (const auto& [source, noKey, noMeasurement] : cases) {
    bridge.succeed("/v1/key-source", source);
    EXPECT_EQ(failureOf("find_key"), noKey) << source;
    EXPECT_EQ(failureOf("listen_selected_clip"), noMeasurement) << source;
  }
}

TEST_F(Workflows, ARunningCaptureIsHandedOnUntouched) {
  for (const char* state : {"recording", "Ready", "FAILED", ""}) {
    const Json status = {{"status", state}, {"progress", 0.5}, {"filePath", "/x.wav"}};
    bridge.succeed("/v1/master-capture/status", status);
    const ToolResult result = call("get_master_listen", {{"jobId", " " + kJob + "\t"}});
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(result.structuredContent, status);
    EXPECT_EQ(bridge.requests.back().method, "POST");
    EXPECT_EQ(bridge.requests.back().body, R"({"jobId":")" + kJob + R"("})");
  }
  EXPECT_EQ(cleanUps(), 0);
}

TEST_F(Workflows, AFailedCaptureIsCleanedUpAndHandedOnAsAnError) {
  const Json status = {{"status", "failed"}, {"reason", "stopped"}};
  bridge.succeed("/v1/master-capture/status", status);
  for (const bool cleanable : {false, true}) {
    if (cleanable) {
      bridge.succeed("/v1/master-capture/cleanup", nullptr);
    }
    const ToolResult result = call("get_master_listen", {{"jobId", kJob}});
    EXPECT_TRUE(result.isError);
    EXPECT_EQ(result.structuredContent, status);
  }
  EXPECT_EQ(cleanUps(), 2);
}

TEST_F(Workflows, AFinishedCaptureIsMeasuredAndCleanedUp) {
  const Json status = {{"status", "ready"}, {"filePath", write("master.wav", 3)}, {"bars", 2}};
  bridge.succeed("/v1/master-capture/status", status);
  const Json kept = call("get_master_listen", {{"jobId", kJob}}).structuredContent;
  EXPECT_EQ(kept.at("temporaryTrackRemoved"), false);
  EXPECT_EQ(kept.at("cleanupWarning"),
            "La mesure est valide, mais la piste temporaire doit \u00eatre supprim\u00e9e "
            "manuellement.");
  bridge.succeed("/v1/master-capture/cleanup", Json::object());
  const ToolResult result = call("get_master_listen", {{"jobId", kJob}});
  const Json& removed = result.structuredContent;
  EXPECT_FALSE(result.isError);
  EXPECT_EQ(removed.at("temporaryTrackRemoved"), true);
  EXPECT_FALSE(removed.contains("cleanupWarning"));
  EXPECT_EQ(removed.at("scope"), "renderedMasterResampling");
  EXPECT_EQ(removed.at("measurementNotice"),
            "Mesure locale de la sortie master r\u00e9ellement rendue par Ableton pendant la "
            "capture Resampling, avec devices, retours et traitements master actifs.");
  EXPECT_EQ(removed.at("privacy"), "Le fichier audio reste sur ce Mac.");
  EXPECT_EQ(removed.at("capture"), status);
  EXPECT_EQ(removed.at("analyzedSeconds"), 3.0);
  EXPECT_EQ(cleanUps(), 2);
}

TEST_F(Workflows, ACaptureWithoutAMeasurementIsLeftInPlace) {
  const std::string shortFile = write("short.wav", 0.04);
  const std::vector<std::pair<Json, std::string>> cases = {
      {nullptr, "MCPServerError: " + kInvalid},
      {Json::array(), "MCPServerError: " + kInvalid},
      {{{"status", 1}}, "MCPServerError: " + kInvalid},
      {{{"status", "ready"}}, "MCPServerError: " + kInvalid},
      {{{"status", "ready"}, {"filePath", nullptr}}, "MCPServerError: " + kInvalid},
      {{{"status", "ready"}, {"filePath", "/none.wav"}}, "AudioMeasurementError: " + kUnreadable},
      {{{"status", "ready"}, {"filePath", shortFile}},
       "AudioMeasurementError: Le clip ne contient pas assez de signal pour une analyse audio "
       "fiable."}};
  for (const auto& [status, message] : cases) {
    bridge.succeed("/v1/master-capture/status", status);
    EXPECT_EQ(failureOf("get_master_listen", {{"jobId", kJob}}), message) << status;
  }
  EXPECT_EQ(cleanUps(), 0);
}

}  // namespace
}  // namespace brindlevane
