#include "practice/Handlers.h"
#include "practice/Sound.h"
#include "support/Wav.h"

#include <algorithm>
#include <cmath>

namespace brindlevane::practice {
namespace {

constexpr double kTimesFaster = 20;

double secondsOf(const MasterCapture& capture) {
  return capture.bars * 4 * 60 / capture.tempo;
}

MasterCapture& captureIn(LiveSet& set, const Json& body) {
  if (!set.capture || set.capture->jobId != body.at("jobId")) {
    throw Refusal(404, "UNKNOWN_JOB",
                  "No capture has this jobId. It may have been cleaned up already.");
  }
  return *set.capture;
}

Json describe(const MasterCapture& capture, double progress) {
  Json view = {{"jobId", capture.jobId},         {"bars", capture.bars},
               {"startTime", capture.startBeat}, {"progress", progress},
               {"practiceSpeed", kTimesFaster},  {"status", progress < 1 ? "running" : "ready"}};
  if (progress >= 1) {
    view["filePath"] = capture.filePath;
  }
  return view;
}

}  // namespace

Json startCapture(LiveSet& set, const Json& body) {
  if (set.playingSince) {
    throw Refusal(409, "TRANSPORT_RUNNING", "Stop Ableton before a master capture.");
  }
  if (set.capture) {
    throw Refusal(409, "CAPTURE_RUNNING",
                  "A capture is under way. Poll or cancel " + set.capture->jobId + ".");
  }
  set.capture = {.jobId = "master_" + randomHex(32),
                 .startBeat = body.at("startTime"),
                 .bars = body.at("bars"),
                 .tempo = set.song["tempo"],
                 .start = std::chrono::steady_clock::now(),
                 .filePath = {}};
  ++set.revision;  // a temporary track has come
  return describe(*set.capture, 0);
}

Json captureStatus(LiveSet& set, const Json& body) {
  MasterCapture& capture = captureIn(set, body);
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - capture.start;
  const double progress = std::min(passed.count() * kTimesFaster / secondsOf(capture), 1.0);
  if (progress >= 1 && capture.filePath.empty()) {
    const Window window = {
        .tempo = capture.tempo,
        .startBeat = capture.startBeat,
        .frames = static_cast<std::size_t>(std::llround(secondsOf(capture) * kSampleRate))};
    capture.filePath = (set.audioFolder / (capture.jobId + ".wav")).string();
    writeWav(capture.filePath, renderMaster(set.song["tracks"], window), 2, kSampleRate);
  }
  return describe(capture, progress);
}

Json endCapture(LiveSet& set, const Json& body) {
  std::filesystem::remove(captureIn(set, body).filePath);
  set.capture.reset();
  ++set.revision;  // the temporary track has gone
  return {{"jobId", body["jobId"]}, {"temporaryTrackRemoved", true}};
}

}  // namespace brindlevane::practice
