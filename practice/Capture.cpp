#include "practice/Handlers.h"
#include "practice/Request.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace brindlevane::practice {
namespace {

constexpr std::size_t kParts = 3;

MasterCapture& captureIn(LiveSet& set, const Json& body) {
  if (!set.capture || set.capture->jobId != textIn(body, "jobId")) {
    throw Refusal(404, "UNKNOWN_JOB",
                  "No capture has this jobId. It may have been cleaned up already.");
  }
  return *set.capture;
}

// Renders the next part; behind the last one, the file is written.
void advance(LiveSet& set, MasterCapture& capture) {
  const std::size_t done = capture.sound.size() / 2;
  const std::size_t frames = std::min(capture.frames / kParts + 1, capture.frames - done);
  const double beat =
      capture.startBeat + static_cast<double>(done) * capture.tempo / (60.0 * kSampleRate);
  const Stereo part = renderMaster(set.song["tracks"], set.audio, capture.tempo, beat, frames);
  capture.sound.insert(capture.sound.end(), part.begin(), part.end());
  if (capture.sound.size() / 2 == capture.frames) {
    capture.filePath = set.audio.add(capture.jobId, std::exchange(capture.sound, {}));
  }
}

Json describe(const MasterCapture& capture) {
  Json view = {{"jobId", capture.jobId}, {"bars", capture.bars}, {"startTime", capture.startBeat}};
  if (!capture.filePath.empty()) {
    view.update({{"status", "ready"}, {"progress", 1.0}, {"filePath", capture.filePath}});
    return view;
  }
  const std::size_t done = capture.sound.size() / 2;
  const double progress = static_cast<double>(done) / static_cast<double>(capture.frames);
  view.update({{"status", "running"}, {"progress", progress}});
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
  const int bars = static_cast<int>(numberIn(body, "bars", 1, 32));
  const double startBeat = numberIn(body, "startTime", 0, kLastBeat);
  const double tempo = set.song["tempo"];
  const double seconds = bars * 4 * 60 / tempo;
  set.capture = {.jobId = "master_" + randomHex(32),
                 .startBeat = startBeat,
                 .bars = bars,
                 .tempo = tempo,
                 .frames = static_cast<std::size_t>(std::llround(seconds * kSampleRate)),
                 .sound = {},
                 .filePath = {}};
  return describe(*set.capture);
}

Json captureStatus(LiveSet& set, const Json& body) {
  MasterCapture& capture = captureIn(set, body);
  if (capture.filePath.empty()) {
    advance(set, capture);
  }
  return describe(capture);
}

Json endCapture(LiveSet& set, const Json& body) {
  const MasterCapture& capture = captureIn(set, body);
  set.audio.remove(capture.filePath);
  set.capture.reset();
  return {{"jobId", body["jobId"]}, {"temporaryTrackRemoved", true}};
}

}  // namespace brindlevane::practice
