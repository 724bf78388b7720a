#include "practice/BridgeFile.h"
#include "practice/FilePages.h"
#include "practice/PracticeBridge.h"
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
    "Usage: practice-session [--server PROGRAM] [FILE...]\n\n"
    "Starts the Brindlevane server with a practice bridge and plays a producer's session to it,\n"
    "without Live. With audio files it shows what the assistant hears in each of them instead.\n"
    "PROGRAM is the server; without the option it is taken from beside this program.\n";

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
  if (!files.empty()) {
    return printFiles(server, files, page, std::cerr) == 0;
  }
  const TemporaryFolder home;
  const RunningBridge bridge;
  const BridgeFile file(supportFolderIn(home.path()), bridge.port(), bridge.token());
  McpClient client(server, home.path());
  playSession(client, page);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  const std::filesystem::path self(argv[0]);
  std::filesystem::path server =
      self.has_parent_path() ? self.parent_path() / "brindlevane" : "brindlevane";
  if (arguments.size() >= 2 && arguments[0] == "--server") {
    server = arguments[1];
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  if (!arguments.empty() && arguments[0] == "--help") {
    std::cout << kUsage;
    return 0;
  }
  if (!arguments.empty() && arguments[0].starts_with("--")) {
    std::cerr << "practice-session: there is no option " << printable(arguments[0]) << ".\n\n"
              << kUsage;
    return 2;
  }
  cleanUpOnSignals();
  try {
    return run(server, arguments) ? 0 : 1;
  } catch (const std::exception& fault) {
    std::cerr << "practice-session: " << fault.what() << "\n";
    return 1;
  }
}
