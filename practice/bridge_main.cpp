#include "platform/Json.h"
#include "practice/Assistant.h"
#include "practice/Page.h"
#include "practice/RunningBridge.h"

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

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
  const RunningBridge bridge(supportFolder);
  const Json entry = {{"command", server.string()},
                      {"env", {{"XDG_DATA_HOME", fs::absolute(supportFolder).string()}}}};
  std::cout << "Night Ferry, 12 tracks, plays at http://127.0.0.1:" << bridge.port() << "\n"
            << "Wrote " << bridge.file().string() << "; it goes when this program ends.\n"
            << "Let your assistant's client start the server on this set:\n\n"
            << Json{{"mcpServers", {{"brindlevane", entry}}}}.dump(2)
            << "\n\nCtrl-C ends the bridge." << std::endl;
  int signal = 0;
  sigwait(&endings, &signal);
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
      std::cerr << "practice-bridge: there is no option " << printable(argument) << ".\n\n"
                << kUsage;
      return 2;
    }
  }
  if (arguments.size() != 1) {
    std::cerr << kUsage;
    return 2;
  }
  try {
    run(arguments[0], serverBeside(argv[0]));
  } catch (const std::exception& fault) {
    std::cerr << "practice-bridge: " << fault.what() << "\n";
    return 1;
  }
  return 0;
}
