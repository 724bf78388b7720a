#include "Folders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <ranges>
#include <stdexcept>
#include <system_error>

namespace brindlevane {
namespace {

namespace fs = std::filesystem;

Json contentOf(const fs::path& file) {
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) {
    return {};
  }
  std::ifstream stream(file);
  return Json::parse(stream, nullptr, false);
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
  makeFolders();
  // A link appears whole or not at all, and never takes the place of a file.
  const fs::path draft = path_.string() + "." + std::to_string(getpid());
  std::error_code error;
  try {
    writePrivately(draft, content_.dump(2) + "\n");
    fs::create_hard_link(draft, path_, error);
    fs::remove(draft);
  } catch (...) {
    removeFolders();
    throw;
  }
  if (error) {
    removeFolders();
    throw std::runtime_error(error == std::errc::file_exists
                                 ? "There is a bridge already: " + path_.string() +
                                       ". Choose another folder."
                                 : "Cannot write " + path_.string() + ": " + error.message());
  }
}

BridgeFile::~BridgeFile() {
  std::error_code ignored;  // a destructor has nobody to tell
  if (contentOf(path_) == content_) {
    fs::remove(path_, ignored);
  }
  removeFolders();
}

void BridgeFile::makeFolders() {
  for (fs::path folder = path_.parent_path(); !fs::exists(folder); folder = folder.parent_path()) {
    madeFolders_.insert(madeFolders_.begin(), folder);
  }
  for (const fs::path& folder : madeFolders_) {
    fs::create_directory(folder);
  }
}

void BridgeFile::removeFolders() const {
  for (const fs::path& folder : madeFolders_ | std::views::reverse) {
    std::error_code ignored;  // a folder in which somebody has put something stays
    fs::remove(folder, ignored);
  }
}

}  // namespace brindlevane
