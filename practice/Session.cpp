#include "practice/Session.h"

#include "practice/Page.h"
#include "practice/Request.h"

#include <algorithm>
#include <functional>
#include <iomanip>
#include <ostream>
#include <stdexcept>

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
  Assistant(McpClient& client, std::ostream& out) : client_(client), out_(out) {}

  /// Calls a tool, shows the call and gives the data; an error result ends the step.
  Json ask(const std::string& tool, const Json& arguments = Json::object()) {
    printWrapped(out_, "> " + tool + described(arguments), 4, 6);
    return quietly(tool, arguments);
  }

  Json quietly(const std::string& tool, const Json& arguments = Json::object()) {
    const Json result = call(tool, arguments);
    if (result["isError"] != false) {
      throw std::runtime_error(messageOf(result));
    }
    const Json& data = result["structuredContent"];
    revision = data.value("revision", revision);
    return data;
  }

  /// Calls a tool that changes the set, the user's approval taken for granted.
  Json change(const std::string& tool, Json arguments = Json::object()) {
    arguments.update({{"confirm", true}, {"expectedRevision", revision}});
    return ask(tool, arguments);
  }

  /// Calls a tool that is to be refused and gives the reason.
  std::string askInVain(const std::string& tool, const Json& arguments) {
    printWrapped(out_, "> " + tool + described(arguments), 4, 6);
    const Json result = call(tool, arguments);
    expect(result["isError"] == true, tool + " is refused");
    return messageOf(result);
  }

  /// Prints a line of what the assistant sees.
  void see(const std::string& text) { printWrapped(out_, text, 6, 6); }

  /// Prints a table row as it is.
  void row(const std::string& text) { out_ << "      " << text << "\n"; }

  void show(const Json& measurement) { printMeasurement(out_, measurement); }

  std::int64_t revision = 0;

 private:
  static std::string messageOf(const Json& result) {
    const Json& data = result["structuredContent"];
    return data.contains("error") ? data["error"]["message"].get<std::string>() : data.dump();
  }

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

  Json call(const std::string& tool, const Json& arguments) {
    return client_.request("tools/call",
                           {{"name", "brindlevane_" + tool}, {"arguments", arguments}});
  }

  McpClient& client_;
  std::ostream& out_;
};

std::string decibels(const Json& value) {
  const std::string text = fixed(value, 1);
  return std::string(7 - std::min<std::size_t>(text.size(), 7), ' ') + text + " dB";
}

// A string or a number as it reads in a sentence.
std::string shown(const Json& value) {
  return value.is_string() ? value.get<std::string>() : shortNumber(value);
}

void readContext(Assistant& assistant) {
  const Json context = assistant.ask("get_context");
  const Json& project = context["projectAnalysis"];
  assistant.see(shown(context["session"]["project"]) + ", " + shown(context["session"]["tempo"]) +
                " BPM, " + quantity(project["tracks"].size(), "track") + ", " +
                quantity(project["returns"].size(), "return") + ", revision " +
                std::to_string(assistant.revision));
  for (const Json& track : project["tracks"]) {
    assistant.row(fitted(shown(track["index"]), 4) + fitted(shown(track["name"]), 20) +
                  fitted(shown(track["kind"]), 7) + decibels(track["volumeDb"]) + "  " +
                  quantity(track["clips"].size(), "clip"));
  }
  expect(project["tracks"].size() == 12, "the set has 12 tracks");
}

void findBadNames(Assistant& assistant) {
  const Json findings = assistant.ask("analyze_mix_preparation")["findings"];
  for (const Json& finding : findings) {
    assistant.row(fitted(shown(finding["track"]), 19) + shown(finding["advice"]));
  }
  expect(findings.size() >= 8, "there is a lot to tidy up");
}

void organize(Assistant& assistant) {
  const std::int64_t before = assistant.revision;
  const Json changes = assistant.change("organize_tracks")["changes"];
  for (const Json& change : changes) {
    assistant.row(fitted(shown(change["before"]), 19) + "→ " + shown(change["name"]));
  }
  expect(changes.size() == 12 && assistant.revision > before, "all tracks have new names");
}

void createTrack(Assistant& assistant) {
  const Json track = assistant.change("create_midi_track", {{"name", "Acid Bass"}});
  assistant.see("Track " + shown(track["trackIndex"]) + " is there, at revision " +
                std::to_string(assistant.revision));
  expect(track["trackIndex"] == 12, "the track comes last");
}

void writeBassLine(Assistant& assistant) {
  Json notes = Json::array();
  double beat = 0;
  for (const int pitch : {42, 42, 54, 42, 42, 49, 45, 42, 42, 40, 37, 41}) {
    notes.push_back({{"pitch", pitch}, {"startTime", beat}, {"duration", 0.4}, {"velocity", 100}});
    beat += notes.size() % 3 == 0 ? 0.5 : 0.75;
  }
  const Json clip = assistant.change("create_midi_clip", {{"trackIndex", 12},
                                                          {"startTime", 0},
                                                          {"length", 8},
                                                          {"name", "Acid line"},
                                                          {"notes", notes}});
  assistant.see(shown(clip["clip"]) + " on " + shown(clip["track"]) + ": " +
                quantity(clip["noteCount"], "note"));
  const Json tracks = assistant.ask("analyze_project")["tracks"];
  assistant.see("The set has it: pitches " + shown(tracks[12]["clips"][0]["pitchRange"][0]) +
                " to " + shown(tracks[12]["clips"][0]["pitchRange"][1]));
  expect(tracks[12]["clips"][0]["noteCount"] == notes.size(), "the clip shows in the set");
}

void setSend(Assistant& assistant) {
  const Json send = assistant.change("set_send_level",
                                     {{"trackIndex", 12}, {"sendIndex", 0}, {"displayDb", -15}});
  assistant.see(shown(send["return"]) + decibels(send["beforeDb"]) + " →" +
                decibels(send["displayDb"]));
  expect(send["displayDb"] == -15, "the send stands at -15 dB");
}

void openFilter(Assistant& assistant) {
  const Json bass = {{"trackIndex", 4}, {"deviceIndex", 0}};
  const Json device = assistant.ask("get_device_parameters", bass);
  for (const Json& parameter : device["parameters"]) {
    assistant.row(fitted(shown(parameter["index"]), 4) + fitted(shown(parameter["name"]), 16) +
                  fitted(shown(parameter["display"]), 10) + "from " + shown(parameter["minimum"]) +
                  " to " + shown(parameter["maximum"]));
  }
  Json change = bass;
  change.update({{"parameterIndex", 0}, {"value", 900}});
  const Json done = assistant.change("set_device_parameter", change);
  assistant.see(shown(done["parameter"]) + ": " + shown(done["before"]) + " → " +
                shown(done["value"]));
  expect(done["value"] == 900, "the filter is open");
}

void hitStaleRevision(Assistant& assistant) {
  const std::string reason = assistant.askInVain(
      "set_tempo",
      {{"tempo", 126}, {"expectedRevision", assistant.revision - 3}, {"confirm", true}});
  assistant.see(reason);
  expect(reason.find("REVISION_CONFLICT") != std::string::npos, "the conflict is named");
}

void recover(Assistant& assistant) {
  (void)assistant.ask("get_session");
  const Json tempo = assistant.change("set_tempo", {{"tempo", 126}});
  assistant.see(shown(tempo["before"]) + " → " + shown(tempo["tempo"]) + " BPM");
  expect(tempo["tempo"] == 126, "the tempo is 126");
}

void forgetToAsk(Assistant& assistant) {
  const std::string reason = assistant.askInVain("play", Json::object());
  assistant.see(reason);
  expect(reason.find("confirmation") != std::string::npos, "the server asks for a confirmation");
}

void watchMeters(Assistant& assistant) {
  (void)assistant.ask("play", {{"confirm", true}});
  const Json context = assistant.ask("get_context");
  const Json& tracks = context["projectAnalysis"]["tracks"];
  double loudest = -70;
  for (const Json& meter : context["meters"]) {
    const double peak = meter["peakDb"];
    loudest = std::max(loudest, peak);
    assistant.row(
        fitted(tracks[meter["trackIndex"].get<std::size_t>()]["name"].get<std::string>(), 18) +
        decibels(meter["peakDb"]) + "  " + bar((peak + 60) / 60, 40));
  }
  (void)assistant.ask("stop", {{"confirm", true}});
  expect(loudest > -20, "something sounds");
}

std::string searchClap(Assistant& assistant) {
  const Json samples = assistant.ask(
      "search_samples", {{"query", "tight club clap"}, {"role", "clap"}, {"limit", 3}})["samples"];
  for (const Json& sample : samples) {
    assistant.row(fitted(shown(sample["name"]), 22) + fitted(shown(sample["pack"]), 20) +
                  shown(sample["sampleId"]));
  }
  expect(samples.at(0)["name"] == "Tight Club Clap 02", "the best match comes first");
  return samples[0]["sampleId"];
}

void importClap(Assistant& assistant) {
  const std::string id = searchClap(assistant);
  const Json done = assistant.change(
      "import_sample", {{"sampleId", id}, {"startTime", 4}, {"trackName", "Clap layer"}});
  assistant.see(shown(done["sample"]) + " lies on track " + shown(done["trackIndex"]) + ", " +
                shown(done["track"]));
  expect(done["trackIndex"] == 13, "the sample has a track of its own");
}

void buildArrangement(Assistant& assistant) {
  const Json built = assistant.change("build_arrangement");
  for (const Json& section : built["sections"]) {
    assistant.row(fitted(shown(section["name"]), 10) +
                  fitted("beat " + shown(section["startTime"]), 12) +
                  bar(section["bars"].get<double>() / 32, 32) + " " + shown(section["bars"]));
  }
  assistant.see(quantity(built["clipsAdded"], "clip") + " in " + shown(built["bars"]) + " bars");
  expect(built["bars"] == 128, "the arrangement has 128 bars");
}

void undo(Assistant& assistant) {
  const Json undone = assistant.ask("undo_last_organization", {{"confirm", true}});
  assistant.see("Taken back: " + shown(undone["undone"]));
  const Json project = assistant.ask("analyze_project");
  assistant.see("The Arrangement ends at beat " + shown(project["arrangementLength"]) + " again");
  expect(project["arrangementLength"] == 64, "the sections have gone");
}

void findKeyOf(Assistant& assistant, std::size_t track, const std::string& kind) {
  (void)assistant.change("select_track", {{"trackIndex", track}});
  const Json key = assistant.ask("find_key");
  assistant.see(shown(key["clip"]) + ": " + shown(key["key"]) + ", confidence " +
                fixed(key["confidence"], 2));
  expect(key["kind"] == kind && key["key"] == "F♯ minor", "the " + kind + " clip is in F♯ minor");
}

void listenToClip(Assistant& assistant) {
  const Json heard = assistant.ask("listen_selected_clip");
  assistant.show(heard);
  expect(heard["scope"] == "rawClipSourcePreFx", "the clip's own file was measured");
}

void captureMaster(Assistant& assistant) {
  const Json started = assistant.change("start_master_listen", {{"bars", 8}, {"startTime", 0}});
  const Json job = {{"jobId", started["jobId"]}};
  Json heard = assistant.ask("get_master_listen", job);
  while (!heard.contains("scope")) {
    expect(heard["status"] == "running", "the capture is under way");
    assistant.row("recording " + bar(heard["progress"], 40));
    heard = assistant.ask("get_master_listen", job);
  }
  assistant.show(heard);
  expect(heard["scope"] == "renderedMasterResampling" && heard["temporaryTrackRemoved"] == true,
         "the master was measured and the temporary track has gone");
  expect(heard["key"] == "F♯ minor", "the master is in F♯ minor too");
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
      {"Add a track for a new bass line", createTrack},
      {"Write two bars of acid bass in F♯ minor", writeBassLine},
      {"Send some of it to the reverb", setSend},
      {"Open the filter of the old bass", openFilter},
      {"Change the tempo, with a revision that is out of date", hitStaleRevision},
      {"Read again and change the tempo", recover},
      {"Play, without having asked the user", forgetToAsk},
      {"Play with approval and watch the meters", watchMeters},
      {"Find a tight clap and import it", importClap},
      {"Build a club arrangement behind the loops", buildArrangement},
      {"The user would rather not: undo", undo},
      {"Which key are the chords in?", [](Assistant& a) { findKeyOf(a, 6, "midi"); }},
      {"Which key is the pad in, by ear?", [](Assistant& a) { findKeyOf(a, 7, "audio"); }},
      {"Listen to the pad", listenToClip},
      {"Record eight bars of the master and listen", captureMaster},
  };
  return kSteps;
}

}  // namespace

void playSession(McpClient& client, std::ostream& out) {
  Assistant assistant(client, out);
  for (std::size_t i = 0; i < steps().size(); ++i) {
    out << "\n" << std::setw(2) << i + 1 << "  " << steps()[i].title << "\n";
    steps()[i].run(assistant);
    out.flush();
  }
  out << "\nAll " << steps().size() << " steps went as expected.\n";
}

std::size_t listenToFiles(McpClient& client, const std::vector<std::string>& files,
                          std::ostream& out) {
  Assistant assistant(client, out);
  std::size_t failures = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    out << (i == 0 ? "  " : "\n  ") << fitted(files[i], kPageWidth - 2) << "\n";
    try {
      (void)assistant.quietly("get_session");
      (void)assistant.quietly(
          "select_track",
          {{"trackIndex", i}, {"expectedRevision", assistant.revision}, {"confirm", true}});
      assistant.show(assistant.quietly("listen_selected_clip"));
    } catch (const std::runtime_error& reason) {
      assistant.see(reason.what());
      ++failures;
    }
    out.flush();
  }
  return failures;
}

}  // namespace brindlevane::practice
