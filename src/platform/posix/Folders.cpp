#include "platform/Folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace brindlevane {

const char* const kProgramSuffix = "";

namespace {

std::optional<std::string> absoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value != '/') {
    return std::nullopt;
  }
  return value;
}

std::optional<std::string> homeFolder() {
  if (auto home = absoluteFromEnvironment("HOME")) {
    return home;
  }
  const passwd* const user = getpwuid(getuid());
  if (user == nullptr || user->pw_dir == nullptr || *user->pw_dir == '\0') {
    return std::nullopt;
  }
  return user->pw_dir;
}

}  // namespace

std::optional<std::string> applicationSupportFolder() {
#ifdef __APPLE__
  const auto home = homeFolder();
  return home ? std::optional(*home + "/Library/Application Support") : std::nullopt;
#else
  if (auto dataHome = absoluteFromEnvironment("XDG_DATA_HOME")) {
    return dataHome;
  }
  const auto home = homeFolder();
  return home ? std::optional(*home + "/.local/share") : std::nullopt;
#endif
}

std::string programFolder() {
  std::error_code ignored;
#ifdef __APPLE__
  std::string path(4096, '\0');
  auto size = static_cast<std::uint32_t>(path.size());
  const std::string program = _NSGetExecutablePath(path.data(), &size) == 0
                                  ? std::filesystem::canonical(path.c_str(), ignored).string()
                                  : std::string();
#else
  const std::string program = std::filesystem::read_symlink("/proc/self/exe", ignored).string();
#endif
  // As text, for a path of libstdc++ that runs out of memory while it is changed crashes.
  return program.substr(0, program.rfind('/') + 1);
}

}  // namespace brindlevane
