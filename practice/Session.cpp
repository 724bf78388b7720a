#include "practice/Assistant.h"
#include "practice/LiveSet.h"
#include "practice/Page.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace brindlevane::practice {
namespace {

void expect(bool holds, const std::string& what) {
  if (!holds) {
    throw std::runtime_error("Expected that " + what + ".");
  }
}

std::string decibels(const Json& value) {
  const std::string text = fixed(value, 1);
  return std::string(7 - std::min<std::size_t>(text.size(), 7), ' ') + text + " dB";
}

// A string or a number as it reads in a sentence.
std::string plain(const Json& value) {
  return value.is_string() ? value.get<std::string>() : shown(value);
}

void readContext(Assistant& assistant) {
  const Json context = assistant.ask("get_context");
  const Json& project = context["projectAnalysis"];
  assistant.see(plain(context["session"]["project"]) + ", " + plain(context["session"]["tempo"]) +
                " BPM, " + quantity(project["tracks"].size(), "track") + ", " +
                quantity(project["returns"].size(), "return") + ", revision " +
                std::to_string(assistant.revision));
  for (const Json& track : project["tracks"]) {
    assistant.row(Page::fitted(plain(track["index"]), 3) + Page::fitted(plain(track["name"]), 15) +
                  Page::fitted(plain(track["kind"]), 6) + decibels(track["volumeDb"]));
  }
  expect(project["tracks"].size() == 12, "the set has 12 tracks");
}

void findBadNames(Assistant& assistant) {
  const Json findings = assistant.ask("analyze_mix_preparation")["findings"];
  for (const Json& finding : findings) {
    assistant.see(plain(finding["track"]) + ": " + plain(finding["advice"]));
  }
  expect(findings.size() >= 8, "there is a lot to tidy up");
}

void organize(Assistant& assistant) {
  const std::int64_t before = assistant.revision;
  const Json changes = assistant.change("organize_tracks")["changes"];
  for (const Json& change : changes) {
    assistant.row(Page::fitted(plain(change["before"]), 19) + "→ " + plain(change["name"]));
  }
  expect(changes.size() == 12 && assistant.revision > before, "all tracks have new names");
  expect(assistant.change("organize_tracks")["changes"].empty(), "there is nothing left to do");
}

void writeBassLine(Assistant& assistant) {
  const Json track = assistant.change("create_midi_track", {{"name", "Acid Bass"}});
  Json notes = Json::array();
  double beat = 0;
  for (const int pitch : {42, 42, 54, 42, 42, 49, 45, 42, 42, 40, 37, 41}) {
    notes.push_back({{"pitch", pitch}, {"startTime", beat}, {"duration", 0.4}, {"velocity", 100}});
    beat += notes.size() % 3 == 0 ? 0.5 : 0.75;
  }
  const Json clip = assistant.change("create_midi_clip", {{"trackIndex", track["trackIndex"]},
                                                          {"startTime", 0},
                                                          {"length", 8},
                                                          {"name", "Acid line"},
                                                          {"notes", notes}});
  assistant.see(plain(clip["clip"]) + " on " + plain(clip["track"]) + ": " +
                quantity(clip["noteCount"], "note"));
  const Json tracks = assistant.ask("analyze_project")["tracks"];
  expect(tracks[12]["clips"][0]["noteCount"] == notes.size(), "the clip shows in the set");
}

void play(Assistant& assistant) {
  assistant.attempt([&] { (void)assistant.ask("play"); }, "confirmation");
  (void)assistant.ask("play", {{"confirm", true}});
  const Json meters = assistant.ask("get_context")["meters"];
  const auto show = [&assistant](const Json& meter) {
    assistant.row(Page::fitted(plain(meter["name"]), 15) + decibels(meter["peakDb"]));
  };
  std::ranges::for_each(meters["tracks"], show);
  std::ranges::for_each(meters["returns"], show);
  show(meters["master"]);
  (void)assistant.ask("stop", {{"confirm", true}});
  expect(meters["master"]["peakDb"] > -20, "something sounds");
  expect(meters["tracks"][12]["peakDb"] <= -70, "a track without an instrument is silent");
  assistant.see("Acid Bass has no instrument yet, so nothing is heard of it.");
}

void changeTempo(Assistant& assistant) {
  const Json stale = {
      {"tempo", 126}, {"expectedRevision", assistant.revision - 3}, {"confirm", true}};
  assistant.attempt([&] { (void)assistant.ask("set_tempo", stale); }, "REVISION_CONFLICT");
  (void)assistant.ask("get_session");
  const Json tempo = assistant.change("set_tempo", {{"tempo", 126}});
  assistant.see(plain(tempo["before"]) + " → " + plain(tempo["tempo"]) + " BPM");
}

void importClap(Assistant& assistant) {
  const Json samples = assistant.ask(
      "search_samples", {{"query", "tight club clap"}, {"role", "clap"}, {"limit", 3}})["samples"];
  for (const Json& sample : samples) {
    assistant.see(plain(sample["name"]) + ", " + plain(sample["pack"]));
  }
  expect(samples.at(0)["name"] == "Tight Club Clap 02", "the best match comes first");
  const Json done = assistant.change(
      "import_sample",
      {{"sampleId", samples[0]["sampleId"]}, {"startTime", 4}, {"trackName", "Clap layer"}});
  assistant.see(plain(done["sample"]) + " lies on track " + plain(done["trackIndex"]) + ", " +
                plain(done["track"]));
}

void buildArrangement(Assistant& assistant) {
  const Json built = assistant.change("build_arrangement");
  for (const Json& section : built["sections"]) {
    assistant.see(plain(section["name"]) + ": " + plain(section["bars"]) + " bars from beat " +
                  plain(section["startTime"]));
  }
  assistant.see(quantity(built["clipsAdded"], "clip") + " in " + plain(built["bars"]) + " bars");
  expect(built["bars"] == 128, "the arrangement has 128 bars");
}

void undo(Assistant& assistant) {
  assistant.see("Undo would take back: " + plain(assistant.ask("get_context")["undo"]));
  const Json undone = assistant.ask("undo_last_organization", {{"confirm", true}});
  assistant.see("Taken back: " + plain(undone["undone"]));
  expect(assistant.ask("analyze_project")["arrangementLength"] == 64, "the sections have gone");
}

void hearKeys(Assistant& assistant) {
  for (const auto& [track, kind] : {std::pair(6, "midi"), std::pair(7, "audio")}) {
    (void)assistant.change("select_track", {{"trackIndex", track}});
    const Json key = assistant.ask("find_key");
    assistant.see(plain(key["clip"]) + ", " + plain(key["kind"]) + ": " + plain(key["key"]) +
                  ", confidence " + fixed(key["confidence"], 2));
    expect(key["kind"] == kind && key["key"] == "F♯ minor",
           std::string("the ") + kind + " clip is in F♯ minor");
  }
  const Json heard = assistant.ask("listen_selected_clip");
  assistant.page.measurement(heard);
  expect(heard["scope"] == "rawClipSourcePreFx", "the clip's own file was measured");
}

// Starts a recording of the master and waits for it. Time goes faster here than in Live.
Json capture(Assistant& assistant, double startTime, int bars) {
  const Json job = {
      {"jobId", assistant.change("start_master_listen",
                                 {{"bars", bars}, {"startTime", startTime}})["jobId"]}};
  Json heard = assistant.ask("get_master_listen", job);
  while (!heard.contains("scope")) {
    assistant.see("recording: " + fixed(heard["progress"].get<double>() * 100, 0) + " %");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    heard = assistant.ask("get_master_listen", job);
  }
  return heard;
}

void captureMaster(Assistant& assistant) {
  const Json heard = capture(assistant, 0, 8);
  assistant.see("Recorded " + plain(heard["capture"]["practiceSpeed"]) +
                " times as fast as Live would.");
  assistant.page.measurement(heard);
  expect(heard["scope"] == "renderedMasterResampling" && heard["temporaryTrackRemoved"] == true,
         "the master was measured and the temporary track has gone");
  expect(heard["key"] == "F♯ minor", "the master is in F♯ minor too");
}

void captureSilence(Assistant& assistant) {
  (void)assistant.ask("get_session");
  assistant.attempt([&] { (void)capture(assistant, 4000, 1); }, "assez de signal");
  const Json track = assistant.ask("analyze_project")["tracks"].back();
  expect(track.value("temporary", false), "the temporary track is still there");
  assistant.see("The temporary track stays until the capture is cancelled:");
  const Json done =
      assistant.ask("cancel_master_listen", {{"jobId", track["jobId"]}, {"confirm", true}});
  expect(done["temporaryTrackRemoved"] == true, "the temporary track has gone");
}

struct Step {
  const char* title;
  void (*run)(Assistant&);
};

constexpr std::array kSteps = {
    Step{"What is in this set?", readContext},
    Step{"What is badly named or badly prepared?", findBadNames},
    Step{"Give every track a clear name and a colour", organize},
    Step{"Write two bars of acid bass in F♯ minor", writeBassLine},
    Step{"Play and watch the meters: not without approval", play},
    Step{"Change the tempo, with a revision that is out of date", changeTempo},
    Step{"Find a tight clap and import it", importClap},
    Step{"Build a club arrangement behind the loops", buildArrangement},
    Step{"The user would rather not: undo", undo},
    Step{"Which key are the chords in, by their notes, and the pad, by ear?", hearKeys},
    Step{"Record eight bars of the master and listen", captureMaster},
    Step{"Record a bar behind the end of the set", captureSilence},
};

}  // namespace

void playSession(Assistant& assistant) {
  Page& page = assistant.page;
  for (std::size_t i = 0; i < kSteps.size(); ++i) {
    page.line("");
    page.words(std::to_string(i + 1) + ". " + kSteps[i].title, i < 9 ? 1 : 0, 4);
    kSteps[i].run(assistant);
    page.flush();
  }
  page.line("");
  page.line("All " + std::to_string(kSteps.size()) + " steps went as expected.");
}

}  // namespace brindlevane::practice
