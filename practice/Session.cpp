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

  /// Calls a tool and gives its data; an error result ends the step.
  Json ask(const std::string& tool, const Json& arguments = Json::object()) {
    const Json result = call(tool, arguments);
    expect(result["isError"] == false, tool + " succeeds; it said: " + messageOf(result));
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
      const std::string text =
          value.is_array() ? "[" + quantity(value.size(), "note") + "]" : value.dump();
      (key == "confirm" || key == "expectedRevision" ? shared : own) += " " + key + "=" + text;
    }
    return own + shared;
  }

  Json call(const std::string& tool, const Json& arguments) {
    printWrapped(out_, "> " + tool + described(arguments), 4, 6);
    return client_.request("tools/call",
                           {{"name", "brindlevane_" + tool}, {"arguments", arguments}});
  }

  McpClient& client_;
  std::ostream& out_;
};

std::string decibels(const Json& value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << std::setw(6) << value.get<double>() << " dB";
  return text.str();
}

std::size_t trackNamed(Assistant& assistant, const std::string& name) {
  const Json session = assistant.ask("get_session");
  for (const Json& track : session["tracks"]) {
    if (track["name"] == name) {
      return track["index"];
    }
  }
  throw std::runtime_error("Expected a track named " + name + ".");
}

void readContext(Assistant& assistant) {
  const Json context = assistant.ask("get_context");
  const Json& project = context["projectAnalysis"];
  assistant.see(context["session"]["project"].get<std::string>() + ", " +
                shortNumber(context["session"]["tempo"]) + " BPM, " +
                quantity(project["tracks"].size(), "track") + ", " +
                quantity(project["returns"].size(), "return") + ", revision " +
                std::to_string(assistant.revision));
  for (const Json& track : project["tracks"]) {
    assistant.row(fitted(track["index"].dump(), 4) + fitted(track["name"].get<std::string>(), 20) +
                  fitted(track["kind"].get<std::string>(), 7) + decibels(track["volumeDb"]) + "  " +
                  quantity(track["clips"].size(), "clip"));
  }
  expect(project["tracks"].size() == 12, "the set has 12 tracks");
}

void findBadNames(Assistant& assistant) {
  const Json findings = assistant.ask("analyze_mix_preparation")["findings"];
  for (const Json& finding : findings) {
    assistant.row(fitted(finding["track"].get<std::string>(), 19) +
                  finding["advice"].get<std::string>());
  }
  expect(findings.size() >= 8, "there is a lot to tidy up");
}

void organize(Assistant& assistant) {
  const std::int64_t before = assistant.revision;
  const Json changes = assistant.change("organize_tracks")["changes"];
  for (const Json& change : changes) {
    assistant.row(fitted(change["before"].get<std::string>(), 19) + "→ " +
                  change["name"].get<std::string>());
  }
  expect(changes.size() == 12 && assistant.revision > before, "all tracks have new names");
}

void createTrack(Assistant& assistant) {
  const Json track = assistant.change("create_midi_track", {{"name", "Acid Bass"}});
  assistant.see("Track " + track["trackIndex"].dump() + " is there, at revision " +
                std::to_string(assistant.revision));
  expect(track["trackIndex"] == 12, "the track comes last");
}

void writeBassLine(Assistant& assistant) {
  Json notes = Json::array();
  double beat = 0;
  for (const int pitch : {42, 42, 54, 45, 42, 49, 40, 42, 38, 50, 37, 49}) {
    notes.push_back({{"pitch", pitch}, {"startTime", beat}, {"duration", 0.4}, {"velocity", 100}});
    beat += notes.size() % 3 == 0 ? 0.5 : 0.75;
  }
  const Json clip = assistant.change("create_midi_clip", {{"trackIndex", 12},
                                                          {"startTime", 0},
                                                          {"length", 8},
                                                          {"name", "Acid line"},
                                                          {"notes", notes}});
  assistant.see(clip["clip"].get<std::string>() + " on " + clip["track"].get<std::string>() + ": " +
                quantity(clip["noteCount"], "note"));
  const Json tracks = assistant.ask("analyze_project")["tracks"];
  expect(tracks[12]["clips"][0]["noteCount"] == notes.size(), "the clip shows in the set");
}

void setSend(Assistant& assistant) {
  const Json send = assistant.change("set_send_level",
                                     {{"trackIndex", 12}, {"sendIndex", 0}, {"displayDb", -15}});
  assistant.see(send["return"].get<std::string>() + decibels(send["beforeDb"]) + " →" +
                decibels(send["displayDb"]));
  expect(send["displayDb"] == -15, "the send stands at -15 dB");
}

void openFilter(Assistant& assistant) {
  const Json bass = {{"trackIndex", 4}, {"deviceIndex", 0}};
  const Json device = assistant.ask("get_device_parameters", bass);
  for (const Json& parameter : device["parameters"]) {
    assistant.row(fitted(parameter["index"].dump(), 4) +
                  fitted(parameter["name"].get<std::string>(), 16) +
                  fitted(parameter["display"].get<std::string>(), 10) + "from " +
                  parameter["minimum"].dump() + " to " + shortNumber(parameter["maximum"]));
  }
  Json change = bass;
  change.update({{"parameterIndex", 0}, {"value", 900}});
  const Json done = assistant.change("set_device_parameter", change);
  assistant.see(done["parameter"].get<std::string>() + ": " + shortNumber(done["before"]) + " → " +
                shortNumber(done["value"]));
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
  assistant.see(shortNumber(tempo["before"]) + " → " + shortNumber(tempo["tempo"]) + " BPM");
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
    assistant.row(fitted(sample["name"].get<std::string>(), 22) +
                  fitted(sample["pack"].get<std::string>(), 20) +
                  sample["sampleId"].get<std::string>());
  }
  expect(samples.at(0)["name"] == "Tight Club Clap 02", "the best match comes first");
  return samples[0]["sampleId"];
}

void importClap(Assistant& assistant) {
  const std::string id = searchClap(assistant);
  const Json done = assistant.change(
      "import_sample", {{"sampleId", id}, {"startTime", 4}, {"trackName", "Clap layer"}});
  assistant.see(done["sample"].get<std::string>() + " lies on track " + done["trackIndex"].dump() +
                ", " + done["track"].get<std::string>());
  expect(done["trackIndex"] == 13, "the sample has a track of its own");
}

void buildArrangement(Assistant& assistant) {
  const Json built = assistant.change("build_arrangement");
  for (const Json& section : built["sections"]) {
    assistant.row(fitted(section["name"].get<std::string>(), 10) +
                  fitted("beat " + shortNumber(section["startTime"]), 12) +
                  bar(section["bars"].get<double>() / 32, 32) + " " + section["bars"].dump());
  }
  assistant.see(quantity(built["clipsAdded"], "clip") + " in " + built["bars"].dump() + " bars");
  expect(built["bars"] == 128, "the arrangement has 128 bars");
}

void undo(Assistant& assistant) {
  const Json undone = assistant.ask("undo_last_organization", {{"confirm", true}});
  assistant.see("Taken back: " + undone["undone"].get<std::string>());
  expect(assistant.ask("analyze_project")["locators"].empty(), "the sections have gone");
}

void findKeyOf(Assistant& assistant, const std::string& track, const std::string& kind) {
  (void)assistant.change("select_track", {{"trackIndex", trackNamed(assistant, track)}});
  const Json key = assistant.ask("find_key");
  assistant.see(key["clip"].get<std::string>() + " (" + kind +
                "): " + key["key"].get<std::string>() + ", confidence " +
                key["confidence"].dump().substr(0, 4));
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
      {"Which key are the chords in?", [](Assistant& a) { findKeyOf(a, "07 Chords", "midi"); }},
      {"Which key is the pad in, by ear?",
       [](Assistant& a) { findKeyOf(a, "08 Chords 2", "audio"); }},
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

std::size_t listenToFiles(McpClient& client, std::size_t count, std::ostream& out) {
  Assistant assistant(client, out);
  (void)assistant.ask("get_session");
  std::size_t failures = 0;
  for (std::size_t i = 0; i < count; ++i) {
    try {
      const Json selected = assistant.change("select_track", {{"trackIndex", i}});
      out << "\n    " << fitted(selected["track"].get<std::string>(), kPageWidth - 4) << "\n";
      assistant.show(assistant.ask("listen_selected_clip"));
    } catch (const std::runtime_error& reason) {
      ++failures;
      assistant.see(reason.what());
    }
  }
  return failures;
}

}  // namespace brindlevane::practice
