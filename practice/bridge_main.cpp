#include "practice/Folders.h"
#include "practice/PracticeBridge.h"

#include <csignal>
#include <exception>
#include <iostream>

namespace {

using namespace brindlevane::practice;

constexpr const char* kUsage =
    "Usage: practice-bridge FOLDER\n\n"
    "Plays a Live set to the Brindlevane server, without Live. FOLDER is the application-support\n"
    "folder in which the server looks for Brindlevane/bridge.json; it should be one of your own\n"
    "making, such as /tmp/practice. The bridge runs until Ctrl-C.\n";

void run(const std::filesystem::path& supportFolder) {
  // Blocked before the bridge's thread starts, the signals wait for sigwait below.
  sigset_t endings;
  sigemptyset(&endings);
  for (const int ending : {SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&endings, ending);
  }
  pthread_sigmask(SIG_BLOCK, &endings, nullptr);
  const RunningBridge bridge;
  const BridgeFile file(supportFolder, bridge.port(), bridge.token());
  std::cout << "Night Ferry, 12 tracks, plays at http://127.0.0.1:" << bridge.port() << "\n"
            << "Wrote " << file.path() << "; it goes when this program ends.\n"
            << "Start the server on this set with\n\n  XDG_DATA_HOME="
            << file.path().parent_path().parent_path() << " brindlevane\n\n"
            << "Ctrl-C ends the bridge." << std::endl;
  int signal = 0;
  sigwait(&endings, &signal);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '-' || argv[1][0] == '\0') {
    std::cerr << kUsage;
    return 2;
  }
  try {
    run(argv[1]);
  } catch (const std::exception& fault) {
    std::cerr << "practice-bridge: " << fault.what() << "\n";
    return 1;
  }
  return 0;
}
