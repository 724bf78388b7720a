#include "platform/RegularFile.h"
#include "practice/PracticeBridge.h"
#include "practice/Song.h"
#include "practice/Sound.h"
#include "support/TemporaryFolder.h"
#include "support/Wav.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <tuple>

namespace brindlevane::practice {
namespace {

const std::string kToken(48, 'a');

class PracticeBridgeTest : public testing::Test {
 protected:
  /// The result of a request, or the code of its refusal.
  Json outcomeOf(const LoopbackServer::Request& request) {
    const Json envelope = Json::parse(bridge.answer(request).body);
    return envelope.value("/error/code"_json_pointer, envelope.value("result", Json()));
  }

  Json get(const std::string& path) { return outcomeOf({"GET", path, kToken, ""}); }

  /// Sends a body with what a write needs beside its own.
  Json post(const std::string& path, Json body = Json::object()) {
    body.emplace("confirm", true);
    body.emplace("expectedRevision", bridge.set().revision);
    return outcomeOf({"POST", path, kToken, body.dump()});
  }

  TemporaryFolder folder;
  PracticeBridge bridge{{.audioFolder = folder.path(), .song = nightFerry(folder.path())}, kToken};
};

/// Writes that undo takes back, each with a body that is carried out.
const Json kWrites = {
    {"/v1/tempo", {{"tempo", 130}}},
    {"/v1/tracks/create", {{"kind", "midi"}, {"name", "Keys"}, {"index", 3}}},
    {"/v1/tracks/rename", {{"trackIndex", 2.0}, {"name", "Hats"}}},
    {"/v1/tracks/state", {{"trackIndex", 0}, {"field", "solo"}, {"enabled", true}}},
    {"/v1/tracks/volume", {{"trackIndex", 0}, {"displayDb", -70}}},
    {"/v1/tracks/send", {{"trackIndex", 0}, {"sendIndex", 1}, {"displayDb", 0}}},
    {"/v1/devices/parameters",
     {{"trackIndex", 4}, {"deviceIndex", 0}, {"parameterIndex", 0}, {"value", 20000}}},
    {"/v1/clips/midi", {{"trackIndex", 0}, {"startTime", 64}, {"length", 4}}},
    {"/v1/clips/midi/replace",
     {{"trackIndex", 0}, {"notes", {{{"pitch", 36}, {"startTime", 0}, {"duration", 1}}}}}},
    {"/v1/workflows/organize", Json::object()},
    {"/v1/arrangement/build", Json::object()},
};

TEST_F(PracticeBridgeTest, EachWriteNeedsApprovalAndTheRevisionOfNowAndIsTakenBackByUndo) {
  for (const auto& [path, body] : kWrites.items()) {
    SCOPED_TRACE(path);
    const Json before = bridge.set().song;
    const std::int64_t revision = bridge.set().revision;
    Json refused = body;
    refused["expectedRevision"] = revision - 1;
    EXPECT_EQ(post(path, refused), "REVISION_CONFLICT");
    refused["confirm"] = false;
    EXPECT_EQ(post(path, refused),
              path == "/v1/tempo" ? "REVISION_CONFLICT" : "CONFIRMATION_REQUIRED");
    EXPECT_EQ(bridge.set().song, before);
    EXPECT_EQ(post(path, body)["revision"], revision + 1);
    EXPECT_NE(bridge.set().song, before);
    EXPECT_EQ(post("/v1/undo")["revision"], revision + 2);
    EXPECT_EQ(bridge.set().song, before);
  }
  EXPECT_EQ(post("/v1/undo"), "NOTHING_TO_UNDO");
}

TEST_F(PracticeBridgeTest, RefusesWhatIsNotThereAndLeavesTheSetAsItWas) {
  const Json note = {{"pitch", 36.5}, {"startTime", 0}, {"duration", 1}};
  // What differs from the write that is carried out.
  const std::vector<std::tuple<std::string, Json, std::string>> cases = {
      {"/v1/tracks/rename", {{"trackIndex", 12}}, "INVALID_INDEX"},
      {"/v1/tracks/create", {{"index", 13}}, "INVALID_INDEX"},
      {"/v1/tracks/send", {{"sendIndex", 2}}, "INVALID_INDEX"},
      {"/v1/devices/parameters", {{"value", 19.9}}, "OUT_OF_RANGE"},
      {"/v1/clips/midi", {{"trackIndex", 2}}, "NOT_A_MIDI_TRACK"},
      {"/v1/clips/midi", {{"startTime", 63}}, "POSITION_TAKEN"},
      {"/v1/clips/midi", {{"notes", {note}}}, "INVALID_PITCH"},
      {"/v1/clips/midi/replace", {{"notes", {note}}}, "INVALID_PITCH"},
      {"/v1/clips/midi/replace", {{"trackIndex", 1}}, "CLIP_NOT_SELECTED"},
      {"/v1/samples/import", {{"sampleId", "0"}, {"startTime", 0}}, "UNKNOWN_SAMPLE"},
      {"/v1/master-capture/cancel", {{"jobId", "master_0"}}, "UNKNOWN_JOB"},
      {"/v1/nothing", Json::object(), "NOT_FOUND"},
  };
  const Json before = bridge.set().song;
  for (const auto& [path, different, code] : cases) {
    SCOPED_TRACE(path + different.dump());
    Json body = kWrites.value(path, Json::object());
    body.update(different);
    EXPECT_EQ(post(path, body), code);
    EXPECT_EQ(bridge.set().song, before);
  }
  EXPECT_EQ(bridge.answer({"GET", "/v1/session", "another", ""}).status, 403);
}

TEST_F(PracticeBridgeTest, TheSelectedTrackDecidesWhatTheKeySourceIs) {
  const auto sourceOf = [this](int track) {
    post("/v1/tracks/select", {{"trackIndex", track}});
    return get("/v1/key-source");
  };
  const Json clap = sourceOf(1);
  EXPECT_EQ(clap["kind"], "midi");
  EXPECT_EQ(clap["pitchClasses"], Json({0, 0, 0, 0.5, 0, 0, 0, 0, 0, 0, 0, 0}));
  const Json pad = sourceOf(7);
  EXPECT_EQ(pad["kind"], "audio");
  EXPECT_EQ(pad["transposeSemitones"], 2);
  EXPECT_NEAR(pad["analysisRange"]["durationSeconds"], 16 * 60 / 124.0 * std::exp2(2 / 12.0), 1e-4);
  EXPECT_TRUE(std::filesystem::is_regular_file(pad["filePath"].get<std::string>()));
  EXPECT_EQ(sourceOf(11), "NO_CLIP_SELECTED");
}

TEST_F(PracticeBridgeTest, UndoNamesWhatItTakesBackAndWhatChangesNothingIsNoStep) {
  const Json louder = {{"trackIndex", 5}, {"displayDb", -3.5}};
  post("/v1/tracks/volume", louder);
  const std::string action = "volume of \"Sub\" from -7 dB to -3.5 dB";
  EXPECT_EQ(get("/v1/context")["undo"], action);
  const std::int64_t revision = bridge.set().revision;
  EXPECT_EQ(post("/v1/tracks/volume", louder)["revision"], revision);
  EXPECT_EQ(post("/v1/workflows/organize")["changes"].size(), 12U);
  EXPECT_TRUE(post("/v1/workflows/organize")["changes"].empty());
  EXPECT_EQ(post("/v1/undo")["undone"], "names and colours of 12 tracks");
  EXPECT_EQ(post("/v1/undo")["undone"], action);
  EXPECT_EQ(get("/v1/context")["undo"], Json());
}

TEST_F(PracticeBridgeTest, MetersShowWhatSounds) {
  const auto peakOf = [this](const char* kind, std::size_t index) {
    const Json meters = get("/v1/context")["meters"][kind];
    return (meters.is_array() ? meters[index] : meters)["peakDb"].get<double>();
  };
  post("/v1/tracks/create", {{"kind", "midi"}});
  const Json note = {{"pitch", 60}, {"startTime", 0}, {"duration", 64}};
  post("/v1/clips/midi", {{"trackIndex", 12}, {"startTime", 0}, {"length", 64}, {"notes", {note}}});
  EXPECT_EQ(peakOf("master", 0), -70);
  post("/v1/transport/play");
  EXPECT_GT(peakOf("tracks", 0), -20);
  EXPECT_EQ(peakOf("tracks", 12), -70) << "no instrument";
  EXPECT_GT(peakOf("returns", 0), -60);
  EXPECT_GT(peakOf("master", 0), -20);
  for (int track = 0; track < 12; ++track) {
    post("/v1/tracks/send", {{"trackIndex", track}, {"sendIndex", 0}, {"displayDb", -70}});
  }
  EXPECT_LT(peakOf("returns", 0), -60);
  post("/v1/tracks/state", {{"trackIndex", 11}, {"field", "solo"}, {"enabled", true}});
  EXPECT_EQ(peakOf("tracks", 0), -70);
}

TEST_F(PracticeBridgeTest, ACaptureTakesATwentiethOfItsTime) {
  post("/v1/tempo", {{"tempo", 240}});
  post("/v1/transport/play");
  const Json wanted = {{"bars", 4}, {"startTime", 6.5}};
  EXPECT_EQ(post("/v1/master-capture/start", wanted), "TRANSPORT_RUNNING");
  post("/v1/transport/stop");
  const auto start = std::chrono::steady_clock::now();
  const Json job = {{"jobId", post("/v1/master-capture/start", wanted)["jobId"]}};
  EXPECT_EQ(get("/v1/context")["projectAnalysis"]["tracks"].size(), 13U);
  Json status = post("/v1/master-capture/status", job);
  for (double progress = 0; status["status"] == "running";) {
    EXPECT_GE(status["progress"], progress);
    progress = status["progress"];
    status = post("/v1/master-capture/status", job);
  }
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  EXPECT_GE(taken.count(), 0.2);
  EXPECT_LT(taken.count(), 5);
  const std::string file = status["filePath"];
  const Stereo master =
      renderMaster(bridge.set().song["tracks"],
                   {.tempo = 240, .startBeat = 6.5, .frames = std::size_t{4} * kSampleRate});
  writeWav(folder.file("expected.wav"), master, 2, kSampleRate);
  EXPECT_GT(*std::ranges::max_element(master), 0.1);
  EXPECT_EQ(readRegularFile(file, 9'000'000),
            readRegularFile(folder.file("expected.wav"), 9'000'000));
  EXPECT_EQ(post("/v1/master-capture/cleanup", job)["temporaryTrackRemoved"], true);
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_EQ(get("/v1/context")["projectAnalysis"]["tracks"].size(), 12U);
}

}  // namespace
}  // namespace brindlevane::practice
