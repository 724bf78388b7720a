#include "Folders.h"
#include "Listener.h"
#include "PracticeBridge.h"
#include "Request.h"
#include "Song.h"

#include <csignal>
#include <exception>
#include <iostream>

namespace {

using namespace brindlevane;

constexpr const char* kUsage =
    "Usage: practice-bridge FOLDER\n\n"
    "Plays a Live set to the Brindlevane server, without Live. FOLDER is the application-support\n"
    "folder in which the server looks for Brindlevane/bridge.json; it should be one of your own\n"
    "making, such as /tmp/practice. The bridge runs until Ctrl-C.\n";

void run(const std::filesystem::path& supportFolder) {
  const PrivateFolder audioFolder;
  AudioPool audio(audioFolder.path());
  Json song = nightFerry(audio);
  const std::string token = randomHex(48);
  PracticeBridge bridge({.audio = std::move(audio), .song = std::move(song)}, token);

  // Blocked before the listener's thread starts, the signals wait for sigwait below.
  sigset_t endings;
  sigemptyset(&endings);
  for (const int ending : {SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&endings, ending);
  }
  pthread_sigmask(SIG_BLOCK, &endings, nullptr);
  const Listener listener([&bridge](const HttpRequest& request) { return bridge.answer(request); });
  const BridgeFile file(supportFolder, listener.port(), token);
  std::cout << "Night Ferry, 12 tracks, plays at http://127.0.0.1:" << listener.port() << "\n"
            << "Wrote " << file.path().string() << "; it goes when this program ends.\n"
            << "Start the server on this set with\n\n  XDG_DATA_HOME="
            << file.path().parent_path().parent_path().string() << " brindlevane\n\n"
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
