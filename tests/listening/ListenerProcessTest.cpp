#include "listener/Hearing.h"
#include "listening/InstalledListener.h"
#include "support/TemporaryFolder.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

using namespace std::chrono_literals;

class ListenerProcess : public ::testing::Test {
 protected:
  // Signals that this process does not take end what it starts all the same.
  ListenerProcess() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  }

  /// A listener that does what a shell is told.
  [[nodiscard]] Listener script(const std::string& commands,
                                std::chrono::milliseconds timeLimit = kLongestListening) const {
    const std::filesystem::path path = folder_.write("listener", "#!/bin/sh\n" + commands + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return listenerProcess(path.string(), timeLimit);
  }

  TemporaryFolder folder_;
};

TEST_F(ListenerProcess, HearsWhatIsHeardInThisProcess) {
  testing::writeWav(folder_.file("a.wav"), {testing::tones({262, 330, 392}, 0.2, 40000)});
  for (const auto kind : {ListeningTask::Kind::measurement, ListeningTask::Kind::key}) {
    const std::string task = taskLine({.kind = kind, .path = folder_.file("a.wav")});
    const std::string expected = heard(task).value();
    EXPECT_EQ(expected.find("failure"), std::string::npos);
    EXPECT_EQ(listenerProcess(BRINDLEVANE_LISTENER)(task), expected + "\n");
  }
}

// Gigabytes of nothing, and what would take gigabytes to hold.
TEST_F(ListenerProcess, FilesThatPromiseTooMuchEndSoon) {
  const auto answered = [this](const std::string& name, const std::string& bytes,
                               unsigned gigabytes) {
    const std::string path = folder_.write(name, bytes).string();
    std::filesystem::resize_file(path, std::uintmax_t{gigabytes} << 30U);
    return listenerProcess(BRINDLEVANE_LISTENER)(taskLine({.path = path}));
  };
  EXPECT_EQ(answered("riff.wav", std::string("RIFF\0\0\0\0WAVE", 12), 20),
            answerLine(AnalysisError::Case::unreadableAudio) + "\n");
  const testing::MadeFiles made({testing::tones({440}, 0.2, 40000)});
  for (const std::string name : {"flac.flac", "flac.mka"}) {
    const std::string whole = testing::bytesOf(made.path(name));
    EXPECT_NE(answered(name, whole.substr(0, whole.size() / 2), 20), std::nullopt) << name;
  }
  testing::writeWav(folder_.file("fast.wav"), {testing::noise(1, 0.2, 10000)}, 600000);
  std::string fast = testing::bytesOf(folder_.file("fast.wav"));
  fast.replace(fast.find("data") + 4, 4, 4, '\x7f');
  EXPECT_EQ(answered("fast.wav", fast, 2),
            answerLine(AnalysisError::Case::insufficientSignal) + "\n");
}

TEST_F(ListenerProcess, GivesTheTaskAndNothingElse) {
  setenv("BRINDLEVANE_SECRET", "1", 1);
  dup2(0, 77);
  EXPECT_EQ(script(R"(read -r line; echo "$line" $# $(env | grep -c SECRET); )"
                   R"([ -e /proc/$$/fd/77 ] && echo open; true)")("a task"),
            "a task 0 0\n");
  close(77);
  const std::string longTask(1 << 20, 'x');
  EXPECT_EQ(script("wc -c")(longTask), std::to_string(longTask.size() + 1) + "\n");
}

TEST_F(ListenerProcess, WhateverElseItDoesIsNoAnswer) {
  const std::string answer = "echo '{}'; ";
  for (const std::string commands :
       {"kill -SEGV $$", "kill -PIPE $$", "kill -USR1 $$", "kill -KILL $$", "exit 3",
        "exec sleep 60", "exec >&- <&-; exec sleep 60", "exec yes", "head -c 1048577 /dev/zero"}) {
    SCOPED_TRACE(commands);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(script(answer + commands, 500ms)(std::string(1 << 20, 'x')), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
  }
  EXPECT_EQ(script(answer, 10s)("task"), "{}\n");
  EXPECT_EQ(listenerProcess(folder_.file("missing"))("task"), std::nullopt);
  folder_.write("data", "#!/bin/sh\necho '{}'\n");
  EXPECT_EQ(listenerProcess(folder_.file("data"))("task"), std::nullopt);
}

}  // namespace
}  // namespace brindlevane
