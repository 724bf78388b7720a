#include "practice/FilePages.h"
#include "practice/RunningBridge.h"
#include "practice/Session.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace brindlevane;
using namespace brindlevane::practice;

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

bool run(const std::filesystem::path& server, const std::vector<std::string>& files) {
  Page page = Page::ofStandardOutput();
  const TemporaryFolder home;
  const RunningBridge bridge(supportFolderIn(home.path()), pathsOfText(files, home.path()));
  McpClient client(server, home.path());
  if (!files.empty()) {
    return printFiles(client, files, page, std::cerr) == 0;
  }
  playSession(client, page);
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
