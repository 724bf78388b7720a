#include "practice/Assistant.h"
#include "practice/Page.h"
#include "practice/RunningBridge.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace brindlevane;
using namespace brindlevane::practice;
namespace fs = std::filesystem;

constexpr const char* kUsage =
    "Usage: practice-session [FILE...]\n\n"
    "Starts the Brindlevane server beside it with a practice bridge and plays a producer's "
    "session\n"
    "to it, without Live. With audio files it shows what the assistant hears in each of them.\n";

// A signal interrupts the wait for the server, and the session ends as after any other failure.
void cleanUpOnSignals() {
  struct sigaction interrupt {};
  interrupt.sa_handler = [](int) {};
  for (const int ending : {SIGINT, SIGTERM, SIGHUP}) {
    sigaction(ending, &interrupt, nullptr);
  }
}

// Why a file cannot be heard, as far as a look at it tells.
std::string reasonFor(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found) {
    return "there is no such file.";
  }
  if (status.type() == fs::file_type::none ||
      (fs::is_regular_file(status) && !std::ifstream(file))) {
    return "you may not read it.";
  }
  return fs::is_directory(status)      ? "it is a folder."
         : fs::is_regular_file(status) ? "there is no sound in it that can be decoded and measured."
                                       : "it is no file of sound.";
}

// The absolute paths of files in bytes that JSON can carry: a link in the folder stands for a path
// that is no text.
std::vector<std::string> pathsOfText(const std::vector<std::string>& files,
                                     const fs::path& folder) {
  std::vector<std::string> names;
  for (const std::string& file : files) {
    fs::path path = fs::current_path() / file;
    if (printable(path.native()) != path.native()) {
      const fs::path link = folder / ("file-" + std::to_string(names.size()));
      fs::create_symlink(path, link);
      path = link;
    }
    names.push_back(path);
  }
  return names;
}

// Prints a page for each audio file, as the server hears it, and tells what cannot be heard in
// plain English before the server's own words. Returns whether all could be.
bool printFiles(Assistant& assistant, const std::vector<std::string>& files) {
  Page& page = assistant.page;
  std::size_t failures = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const Json session = assistant.call("get_session")["structuredContent"];
    (void)assistant.call(
        "select_track",
        {{"trackIndex", i}, {"expectedRevision", session["revision"]}, {"confirm", true}});
    const Json heard = assistant.call("listen_selected_clip");
    if (heard["isError"] == false) {
      if (failures < i) {
        page.line("");
      }
      page.words(printable(files[i]), 2, 2);
      page.measurement(heard["structuredContent"]);
      page.flush();
    } else {
      ++failures;
      const std::string words = heard["structuredContent"]["error"]["message"];
      std::cerr << page.legible("practice-session: " + printable(files[i]) + ": " +
                                reasonFor(files[i]) + " (" + words + ")")
                << std::endl;
    }
  }
  return failures == 0;
}

bool run(const fs::path& server, const std::vector<std::string>& files) {
  Page page = Page::ofStandardOutput();
  const TemporaryFolder home;
  const RunningBridge bridge(supportFolderIn(home.path()), pathsOfText(files, home.path()));
  Assistant assistant(server, home.path(), page);
  if (!files.empty()) {
    return printFiles(assistant, files);
  }
  playSession(assistant);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  for (const std::string& argument : arguments) {
    if (argument == "--help") {
      std::cout << kUsage;
      return 0;
    }
    if (argument.starts_with('-')) {
      std::cerr << "practice-session: there is no option " << printable(argument) << ".\n\n"
                << kUsage;
      return 2;
    }
  }
  cleanUpOnSignals();
  try {
    return run(serverBeside(argv[0]), arguments) ? 0 : 1;
  } catch (const std::exception& fault) {
    std::cerr << "practice-session: " << fault.what() << "\n";
    return 1;
  }
}
