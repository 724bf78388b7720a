#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "platform/Json.h"
#include "support/ChildProcess.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

const std::string kCall =
    R"({"id":1,"method":"tools/call","params":{"name":"brindlevane_get_context"}})";
const std::string kListen =
    R"({"id":1,"method":"tools/call","params":{"name":"brindlevane_listen_selected_clip"}})";
const std::string kPing = R"({"id":2,"method":"ping"})";
const std::string kPong = R"({"id":2,"jsonrpc":"2.0","result":{}})";
const std::string kNotInstalled =
    "BrindlevaneBridge is not installed. Open Brindlevane and install the Ableton bridge first.";
const std::string kInvalid =
    "The local BrindlevaneBridge configuration is invalid. Reinstall the bridge from Brindlevane.";
const std::string kNotConnected =
    "Ableton Live is not connected to BrindlevaneBridge. Open Ableton and wait a few seconds.";

std::string configuration(std::uint16_t port) {
  return compactJson({{"bridgeUrl", "http://127.0.0.1:" + std::to_string(port)},
                      {"authToken", std::string(32, 't')}});
}

TEST(Process, OnlyAnswersComeOutAndTheEndOfInputEndsIt) {
  ChildProcess server({BRINDLEVANE_SERVER});
  server.send("\n" + kPing + "\r\n{\"method\":\"initialized\"}\n" + kPing);
  server.closeInput();
  EXPECT_EQ(server.restOfOutput(),
            R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})"
            "\n" +
                kPong + "\n" + kPong + "\n");
  EXPECT_EQ(server.restOfError(), "");
  EXPECT_EQ(server.wait(), 0);
}

TEST(Process, StreamsThatDoNotBlockAreWaitedFor) {
  constexpr int kRequests = 100;
  ChildProcess server({BRINDLEVANE_SERVER}, {}, O_NONBLOCK);
  server.send(kPing + "\n");
  EXPECT_EQ(server.line(), kPong);
  std::string requests;
  for (int i = 0; i < kRequests; ++i) {
    requests += "{\"id\":1,\"method\":\"tools/list\"}\n";
  }
  server.send(requests);
  server.closeInput();
  const std::string first = server.line() + "\n";
  std::string expected;
  for (int i = 1; i < kRequests; ++i) {
    expected += first;
  }
  // More than the widest pipe holds.
  EXPECT_GT(expected.size(), 2U << 20U);
  EXPECT_TRUE(server.restOfOutput() == expected);
  EXPECT_EQ(server.wait(), 0);
}

TEST(Process, AStandardStreamMayBeClosedAtTheStart) {
  const std::string server = "'" BRINDLEVANE_SERVER "'";
  EXPECT_EQ(std::system((server + " >&- </dev/zero").c_str()), 0);
  const std::string ping = "echo '" + kPing + "' | ";
  const std::string isPong = " | grep -qxF '" + kPong + "'";
  for (const char* closed : {"", " 2>&-"}) {
    EXPECT_EQ(std::system((ping + server + closed + isPong).c_str()), 0);
  }
  EXPECT_EQ(std::system((server + " <&- | cmp - /dev/null").c_str()), 0);
}

TEST(Process, ARunningCallIsAnsweredAfterTheEndOfInput) {
  const LoopbackServer bridge([](LoopbackServer::Connection& connection) {
    (void)connection.receive();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    connection.send("HTTP/1.1 503 Busy\r\nContent-Length: 2\r\n\r\n{}");
  });
  const TemporaryFolder folder;
  folder.write("Brindlevane/bridge.json", configuration(bridge.port()));
  ChildProcess server({BRINDLEVANE_SERVER}, {"XDG_DATA_HOME=" + folder.path().string()});
  server.send(kCall + "\n" + kPing + "\n");
  server.closeInput();
  EXPECT_NE(server.line().find("BrindlevaneBridge error HTTP_503: The request was rejected."),
            std::string::npos);
  EXPECT_EQ(server.line(), kPong);
  EXPECT_EQ(server.wait(), 0);
}

TEST(Process, ItLeavesWhenItIsToldToOrNobodyListens) {
  {
    ChildProcess server({BRINDLEVANE_SERVER});
    server.send(kPing + "\n");
    EXPECT_EQ(server.line(), kPong);
    for (const char* descriptor : {"1", "2"}) {
      EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(server.number()) + "/fd/" +
                                              descriptor),
                "/dev/null");
    }
    server.end(SIGTERM);
    EXPECT_EQ(server.wait(), -SIGTERM);
  }
  {
    ChildProcess server({BRINDLEVANE_SERVER});
    server.send(kPing + "\n");
    EXPECT_EQ(server.line(), kPong);
    server.closeOutput();
    EXPECT_EQ(server.wait(), 0);
  }
  {
    const LoopbackServer silent([](LoopbackServer::Connection& connection) {
      while (!connection.receive().empty()) {
      }
    });
    const TemporaryFolder folder;
    folder.write("Brindlevane/bridge.json", configuration(silent.port()));
    ChildProcess server({BRINDLEVANE_SERVER}, {"XDG_DATA_HOME=" + folder.path().string()});
    server.send(kCall + "\n");
    while (silent.connections() == 0) {
      std::this_thread::yield();
    }
    server.closeOutput();
    EXPECT_EQ(server.wait(), 0);
  }
}

/// A bridge whose selected clip plays this file.
LoopbackServer::Treatment playing(const std::string& file) {
  return [file](LoopbackServer::Connection& connection) {
    const bool isHealth = connection.receive().starts_with("GET /v1/health");
    const Json result =
        isHealth ? Json{{"bridgeVersion", BrindlevaneBridgeCompatibility::minimumVersion},
                        {"capabilities", BrindlevaneBridgeCompatibility::requiredCapabilities()}}
                 : Json{{"kind", "audio"}, {"filePath", file}};
    connection.send("HTTP/1.0 200 OK\r\n\r\n" + compactJson({{"ok", true}, {"result", result}}));
  };
}

#ifdef __linux__
/// The numbers of the processes that a process has started, each with a space behind it.
std::string childrenOf(pid_t process) {
  const std::string number = std::to_string(process);
  std::ifstream list("/proc/" + number + "/task/" + number + "/children");
  return {std::istreambuf_iterator<char>(list), {}};
}

TEST(Process, NoListenerOutlivesTheServer) {
  const TemporaryFolder folder;
  // Twenty gigabytes of nothing keep a listener busy.
  const std::filesystem::path file = folder.write("sparse.wav", "RIFF\xff\xff\xff\xffWAVE");
  std::filesystem::resize_file(file, std::uintmax_t{20} << 30U);
  const LoopbackServer bridge(playing(file.string()));
  folder.write("Brindlevane/bridge.json", configuration(bridge.port()));
  for (const bool isKilled : {true, false}) {
    ChildProcess server({BRINDLEVANE_SERVER}, {"XDG_DATA_HOME=" + folder.path().string()});
    server.send(kListen + "\n");
    std::string child;
    while (child.empty()) {
      child = childrenOf(server.number());
      ASSERT_EQ(child.find(' '), child.empty() ? std::string::npos : child.size() - 1);
    }
    child.pop_back();
    isKilled ? server.end(SIGKILL) : server.closeOutput();
    EXPECT_EQ(server.wait(), isKilled ? -SIGKILL : 0);
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::filesystem::exists("/proc/" + child)) {
      ASSERT_LT(std::chrono::steady_clock::now(), patience);
      std::this_thread::yield();
    }
  }
}
#endif

TEST(Process, WhatDecodersPrintAboutDamagedFilesGoesNowhere) {
  const TemporaryFolder folder;
  const LoopbackServer bridge(playing(folder.file("damaged")));
  folder.write("Brindlevane/bridge.json", configuration(bridge.port()));
  ChildProcess server({BRINDLEVANE_SERVER}, {"XDG_DATA_HOME=" + folder.path().string()});
  int answers = 0;
  for (const auto& entry : std::filesystem::directory_iterator(AUDIO_FILES)) {
    std::ifstream source(entry.path(), std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(source), {});
    for (std::size_t i = 300; i < bytes.size(); i += 211) {
      bytes[i] = static_cast<char>(bytes[i] ^ 0x55);
    }
    folder.write("damaged", bytes);
    server.send(kListen + "\n");
    const std::optional<Json> response = parseJson(server.line());
    ASSERT_TRUE(response) << entry.path();
    answers += response->at("result").at("content").size() == 1 ? 1 : 0;
  }
  EXPECT_GT(answers, 20);
  server.closeInput();
  EXPECT_EQ(server.wait(), 0);
  EXPECT_EQ(server.restOfOutput(), "");
  EXPECT_EQ(server.restOfError(), "");
}

TEST(Process, TheConfigurationIsTheCurrentUsersAndReadAnew) {
  const TemporaryFolder folder;
  const std::string proper = configuration(1024);  // a port on which nobody listens
  ChildProcess server({BRINDLEVANE_SERVER}, {"XDG_DATA_HOME=", "HOME=" + folder.path().string()});
  const auto expectRefusal = [&server](const std::string& message) {
    server.send(kCall + "\n");
    EXPECT_NE(server.line().find(message), std::string::npos) << message;
  };
  const std::string file = ".local/share/Brindlevane/bridge.json";
  expectRefusal(kNotInstalled);
  folder.write(file, proper);
  expectRefusal(kNotConnected);
  folder.write(file, proper + std::string(2U << 20U, ' ') + "x");
  expectRefusal(kInvalid);
  std::filesystem::remove(folder.path() / file);
  ASSERT_EQ(mkfifo((folder.path() / file).c_str(), 0600), 0);
  expectRefusal(kNotInstalled);
}

}  // namespace
}  // namespace brindlevane
