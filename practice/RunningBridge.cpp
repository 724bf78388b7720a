#include "practice/RunningBridge.h"

#include "platform/Json.h"
#include "platform/RegularFile.h"
#include "practice/Song.h"

#include <fstream>
#include <stdexcept>
#include <system_error>

namespace brindlevane::practice {

namespace fs = std::filesystem;

RunningBridge::RunningBridge(const fs::path& supportFolder, const std::vector<std::string>& files)
    : token_(randomHex(48)),
      bridge_({.audioFolder = audioFolder_.path(),
               .song = files.empty() ? nightFerry(audioFolder_.path()) : setOfFiles(files)},
              token_),
      server_([this](LoopbackServer::Connection& connection) {
        if (const auto request = connection.receiveRequest()) {
          const auto [status, body] = bridge_.answer(*request);
          connection.respond(status, body);
        }
      }),
      file_(fs::absolute(supportFolder) / "Brindlevane" / "bridge.json"),
      content_(compactJson(
          {{"bridgeUrl", "http://127.0.0.1:" + std::to_string(port())}, {"authToken", token_}})) {
  fs::create_directories(file_.parent_path());
  if (fs::exists(fs::symlink_status(file_))) {
    throw std::runtime_error("There is a bridge already: " + file_.string() +
                             ". Choose another folder, or remove what a crash has left there.");
  }
  std::ofstream out(file_);
  if (!out) {
    throw std::runtime_error("Cannot write " + file_.string() + ".");
  }
  fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write);
  out << content_;
}

RunningBridge::~RunningBridge() {
  // What somebody else has written meanwhile stays.
  if (readRegularFile(file_, content_.size() + 1) == content_) {
    std::error_code ignored;  // a destructor has nobody to tell
    fs::remove(file_, ignored);
  }
}

}  // namespace brindlevane::practice
