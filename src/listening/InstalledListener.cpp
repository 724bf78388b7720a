#include "listening/InstalledListener.h"

#include "platform/ChildProcess.h"
#include "platform/FileAttributes.h"
#include "platform/Folders.h"

namespace brindlevane {
namespace {

// A measurement takes 75 KB.
constexpr std::size_t kLongestAnswer = std::size_t{1} << 20U;

/// The listener lies in ../lib/brindlevane when installed, beside this program when built.
std::string installedProgram() {
  const std::string folder = programFolder();
  const std::string program = std::string("brindlevane-listener") + kProgramSuffix;
  const std::string installed = folder + "../lib/brindlevane/" + program;
  return fileAttributes(installed) ? installed : folder + program;
}

}  // namespace

Listener listenerProcess(const std::string& program, std::chrono::milliseconds timeLimit) {
  return [=](const std::string& task) {
    return outputOf(program, task + '\n', kLongestAnswer, timeLimit);
  };
}

Listener installedListener() {
  return [](const std::string& task) { return listenerProcess(installedProgram())(task); };
}

}  // namespace brindlevane
