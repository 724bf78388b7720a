#include "practice/Session.h"

#include "practice/LiveSet.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace brindlevane::practice {
namespace {

void expect(bool holds, const std::string& what) {
  if (!holds) {
    throw std::runtime_error("Expected that " + what + ".");
  }
}

std::string quantity(std::size_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

/// One conversation with the server: asks, shows and remembers the revision.
class Assistant {
 public:
  Assistant(McpClient& client, Page& shownOn) : page(shownOn), client_(client) {}

  /// Calls a tool, shows the call and gives the data.
  /// @throws std::runtime_error  an error result; what() is its message
  Json ask(const std::string& tool, const Json& arguments = Json::object()) {
    page.words("> " + tool + described(arguments), 4, 6);
    const Json result = client_.callTool(tool, arguments);
    const Json& data = result["structuredContent"];
    if (result["isError"] != false) {
      throw std::runtime_error(data.contains("error") ? data["error"]["message"].get<std::string>()
                                                      : data.dump());
    }
    revision = data.value("revision", revision);
    return data;
  }

  /// Calls a tool that changes the set, the user's approval taken for granted.
  Json change(const std::string& tool, Json arguments = Json::object()) {
    arguments.update({{"confirm", true}, {"expectedRevision", revision}});
    return ask(tool, arguments);
  }

  /// Calls a tool that is to be refused, and shows the reason, in which this has to stand.
  void askInVain(const std::string& tool, const Json& arguments, const std::string& reason) {
    std::string heard;
    try {
      (void)ask(tool, arguments);
    } catch (const std::runtime_error& refusal) {
      heard = refusal.what();
    }
    see(heard);
    expect(heard.find(reason) != std::string::npos, tool + " is refused with " + reason);
  }

  /// Prints what the assistant sees.
  void see(const std::string& text) { page.words(text, 6, 6); }

  /// Prints a table row as it is.
  void row(const std::string& text) { page.line(std::string(6, ' ').append(text)); }

  Page& page;
  std::int64_t revision = 0;

 private:
  static std::string described(const Json& arguments) {
    std::string own;
    std::string shared;  // by all tools that change something
    for (const auto& [key, value] : arguments.items()) {
      std::string& text = key == "confirm" || key == "expectedRevision" ? shared : own;
      text.append(" ").append(key).append("=");
      text += value.is_array() ? quantity(value.size(), "note") : value.dump();
    }
    return own + shared;
  }

  McpClient& client_;
};

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
    assistant.row(Page::fitted(plain(track["index"]), 4) + Page::fitted(plain(track["name"]), 20) +
                  Page::fitted(plain(track["kind"]), 7) + decibels(track["volumeDb"]) + "  " +
                  quantity(track["clips"].size(), "clip"));
  }
  expect(project["tracks"].size() == 12, "the set has 12 tracks");
}

void findBadNames(Assistant& assistant) {
  const Json findings = assistant.ask("analyze_mix_preparation")["findings"];
  for (const Json& finding : findings) {
    assistant.row(Page::fitted(plain(finding["track"]), 19) + plain(finding["advice"]));
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
  assistant.askInVain("play", Json::object(), "confirmation");
  (void)assistant.ask("play", {{"confirm", true}});
  const Json context = assistant.ask("get_context");
  const Json& meters = context["meters"];
  const auto show = [&assistant](const Json& name, const Json& meter) {
    const double peak = meter["peakDb"];
    assistant.row(Page::fitted(plain(name), 15) + decibels(peak) + "  " +
                  assistant.page.bar((peak + 60) / 60, assistant.page.pictureWidth() - 27));
  };
  const Json& project = context["projectAnalysis"];
  for (const Json& meter : meters["tracks"]) {
    show(project["tracks"][meter["trackIndex"].get<std::size_t>()]["name"], meter);
  }
  for (std::size_t i = 0; i < meters["returns"].size(); ++i) {
    show(project["returns"][i]["name"], meters["returns"][i]);
  }
  show("Master", meters["master"]);
  (void)assistant.ask("stop", {{"confirm", true}});
  expect(meters["master"]["peakDb"] > -20, "something sounds");
  expect(meters["tracks"][12]["peakDb"] <= -70, "a track without an instrument is silent");
  assistant.see("Acid Bass has no instrument yet, so nothing is heard of it.");
}

void changeTempo(Assistant& assistant) {
  assistant.askInVain(
      "set_tempo",
      {{"tempo", 126}, {"expectedRevision", assistant.revision - 3}, {"confirm", true}},
      "REVISION_CONFLICT");
  (void)assistant.ask("get_session");
  const Json tempo = assistant.change("set_tempo", {{"tempo", 126}});
  assistant.see(plain(tempo["before"]) + " → " + plain(tempo["tempo"]) + " BPM");
}

void importClap(Assistant& assistant) {
  const Json samples = assistant.ask(
      "search_samples", {{"query", "tight club clap"}, {"role", "clap"}, {"limit", 3}})["samples"];
  for (const Json& sample : samples) {
    assistant.row(Page::fitted(plain(sample["name"]), 22) + plain(sample["pack"]));
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
    assistant.row(
        Page::fitted(plain(section["name"]), 9) +
        Page::fitted("beat " + plain(section["startTime"]), 10) +
        Page::fitted(plain(section["bars"]), 3) +
        assistant.page.bar(section["bars"].get<double>() / 32, assistant.page.pictureWidth() - 22));
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

void findKeyOf(Assistant& assistant, std::size_t track, const std::string& kind) {
  (void)assistant.change("select_track", {{"trackIndex", track}});
  const Json key = assistant.ask("find_key");
  assistant.see(plain(key["clip"]) + ": " + plain(key["key"]) + ", confidence " +
                fixed(key["confidence"], 2));
  expect(key["kind"] == kind && key["key"] == "F♯ minor", "the " + kind + " clip is in F♯ minor");
}

void listenToClip(Assistant& assistant) {
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
    assistant.row("recording " + assistant.page.bar(heard["progress"], 20));
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
  std::string reason;
  try {
    (void)capture(assistant, 4000, 1);
  } catch (const std::runtime_error& refusal) {
    reason = refusal.what();
  }
  assistant.see(reason);
  const Json track = assistant.ask("analyze_project")["tracks"].back();
  expect(reason.find("assez de signal") != std::string::npos && track.value("temporary", false),
         "silence cannot be measured, and the temporary track is still there");
  assistant.see("The temporary track stays until the capture is cancelled:");
  const Json done =
      assistant.ask("cancel_master_listen", {{"jobId", track["jobId"]}, {"confirm", true}});
  expect(done["temporaryTrackRemoved"] == true, "the temporary track has gone");
}

struct Step {
  const char* title;
  std::function<void(Assistant&)> run;
};

const std::vector<Step>& steps() {
  static const std::vector<Step> kSteps = {
      {"What is in this set?", readContext},
      {"What is badly named or badly prepared?", findBadNames},
      {"Give every track a clear name and a colour", organize},
      {"Write two bars of acid bass in F♯ minor", writeBassLine},
      {"Play and watch the meters: not without approval", play},
      {"Change the tempo, with a revision that is out of date", changeTempo},
      {"Find a tight clap and import it", importClap},
      {"Build a club arrangement behind the loops", buildArrangement},
      {"The user would rather not: undo", undo},
      {"Which key are the chords in?", [](Assistant& a) { findKeyOf(a, 6, "midi"); }},
      {"Which key is the pad in, by ear?", [](Assistant& a) { findKeyOf(a, 7, "audio"); }},
      {"Listen to the pad", listenToClip},
      {"Record eight bars of the master and listen", captureMaster},
      {"Record a bar behind the end of the set", captureSilence},
  };
  return kSteps;
}

}  // namespace

void playSession(McpClient& client, Page& page) {
  Assistant assistant(client, page);
  for (std::size_t i = 0; i < steps().size(); ++i) {
    page.line("");
    std::string title(i < 9 ? 1 : 0, ' ');
    page.line(title.append(std::to_string(i + 1)).append("  ").append(steps()[i].title));
    steps()[i].run(assistant);
    page.flush();
  }
  page.line("");
  page.line("All " + std::to_string(steps().size()) + " steps went as expected.");
}

}  // namespace brindlevane::practice
