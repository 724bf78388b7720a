#include "platform/Json.h"
#include "practice/BridgeFile.h"
#include "practice/Page.h"
#include "practice/PracticeBridge.h"

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

using namespace brindlevane;
using namespace brindlevane::practice;
namespace fs = std::filesystem;

constexpr const char* kUsage =
    "Usage: practice-bridge FOLDER\n\n"
    "Plays a Live set to the Brindlevane server, without Live. FOLDER is the application-support\n"
    "folder in which the server looks for Brindlevane/bridge.json; it should be one of your own\n"
    "making, such as /tmp/practice. The bridge runs until Ctrl-C.\n";

void run(const fs::path& supportFolder, const fs::path& server) {
  // Blocked before the bridge's thread starts, the signals wait for sigwait below.
  sigset_t endings;
  sigemptyset(&endings);
  for (const int ending : {SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&endings, ending);
  }
  pthread_sigmask(SIG_BLOCK, &endings, nullptr);
  const RunningBridge bridge;
  const BridgeFile file(supportFolder, bridge.port(), bridge.token());
  const Json entry = {{"command", server.string()},
                      {"env", {{"XDG_DATA_HOME", fs::absolute(supportFolder).string()}}}};
  std::cout << "Night Ferry, 12 tracks, plays at http://127.0.0.1:" << bridge.port() << "\n"
            << "Wrote " << file.path().string() << "; it goes when this program ends.\n"
            << "Let your assistant's client start the server on this set:\n\n"
            << Json{{"mcpServers", {{"brindlevane", entry}}}}.dump(2)
            << "\n\nCtrl-C ends the bridge." << std::endl;
  int signal = 0;
  sigwait(&endings, &signal);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string argument = argc == 2 ? argv[1] : "";
  if (argument == "--help") {
    std::cout << kUsage;
    return 0;
  }
  if (argument.empty() || argument.starts_with('-')) {
    if (!argument.empty()) {
      std::cerr << "practice-bridge: there is no option " << printable(argument) << ".\n\n";
    }
    std::cerr << kUsage;
    return 2;
  }
  try {
    run(argument, fs::absolute(argv[0]).parent_path() / "brindlevane");
  } catch (const std::exception& fault) {
    std::cerr << "practice-bridge: " << fault.what() << "\n";
    return 1;
  }
  return 0;
}
