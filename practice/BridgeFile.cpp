#include "practice/BridgeFile.h"

#include "platform/Files.h"
#include "platform/Json.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace brindlevane::practice {

BridgeFile::BridgeFile(const std::filesystem::path& supportFolder, std::uint16_t port,
                       const std::string& token)
    : path_(std::filesystem::absolute(supportFolder) / "Brindlevane" / "bridge.json"),
      content_(compactJson(
          {{"bridgeUrl", "http://127.0.0.1:" + std::to_string(port)}, {"authToken", token}})) {
  std::filesystem::create_directories(path_.parent_path());
  const int descriptor = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0 && errno == EEXIST) {
    throw std::runtime_error("There is a bridge already: " + path_.string() +
                             ". Choose another folder, or remove what a crash has left there.");
  }
  const ssize_t written = write(descriptor, content_.data(), content_.size());
  if (written != std::ssize(content_)) {
    throw std::system_error(errno, std::generic_category(), path_.string());
  }
  close(descriptor);
}

BridgeFile::~BridgeFile() {
  // What somebody else has written meanwhile stays.
  if (readRegularFile(path_, content_.size() + 1) == content_) {
    std::error_code ignored;  // a destructor has nobody to tell
    std::filesystem::remove(path_, ignored);
  }
}

}  // namespace brindlevane::practice
