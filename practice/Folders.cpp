#include "practice/Folders.h"

#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace brindlevane::practice {
namespace {

namespace fs = std::filesystem;

Json contentOf(const fs::path& file) {
  const std::optional<std::string> text = readRegularFile(file, 4096);
  return text ? Json::parse(*text, nullptr, false) : Json();
}

// Whether a practice bridge that is no longer there wrote this.
bool isLeftover(const Json& content) {
  if (!content.is_object() || !content.value("practiceProcess", Json()).is_number_integer()) {
    return false;
  }
  const auto process = content["practiceProcess"].get<pid_t>();
  return process > 0 && kill(process, 0) != 0 && errno == ESRCH;
}

void writePrivately(const fs::path& file, const std::string& text) {
  const int descriptor =
      open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), file.string());
  }
  const ssize_t written = write(descriptor, text.data(), text.size());
  close(descriptor);
  if (written != static_cast<ssize_t>(text.size())) {
    fs::remove(file);
    throw std::runtime_error("Cannot write " + file.string() + ".");
  }
}

}  // namespace

PrivateFolder::PrivateFolder() {
  std::string pattern = (fs::temp_directory_path() / "brindlevane-practice-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), pattern);
  }
  path_ = pattern;
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;  // a destructor has nobody to tell
  fs::remove_all(path_, ignored);
}

BridgeFile::BridgeFile(const fs::path& supportFolder, std::uint16_t port, const std::string& token)
    : path_(fs::absolute(supportFolder) / "Brindlevane" / "bridge.json"),
      content_({{"bridgeUrl", "http://127.0.0.1:" + std::to_string(port)},
                {"authToken", token},
                {"practiceProcess", getpid()}}) {
  if (isLeftover(contentOf(path_))) {
    fs::remove(path_);
  }
  if (fs::exists(fs::symlink_status(path_))) {
    throw std::runtime_error("There is a bridge already: " + path_.string() +
                             ". Choose another folder.");
  }
  for (fs::path folder = path_.parent_path(); !fs::exists(folder); folder = folder.parent_path()) {
    madeFolders_.push_back(folder);
  }
  fs::create_directories(path_.parent_path());
  // A link appears whole or not at all, and never takes the place of a file.
  const fs::path draft = path_.string() + "." + std::to_string(getpid());
  writePrivately(draft, content_.dump(2) + "\n");
  std::error_code error;
  fs::create_hard_link(draft, path_, error);
  fs::remove(draft);
  if (error) {
    throw std::system_error(error, path_.string());
  }
}

BridgeFile::~BridgeFile() {
  std::error_code ignored;  // a destructor has nobody to tell; a folder in use stays
  if (contentOf(path_) == content_) {
    fs::remove(path_, ignored);
  }
  for (const fs::path& folder : madeFolders_) {
    fs::remove(folder, ignored);
  }
}

}  // namespace brindlevane::practice
