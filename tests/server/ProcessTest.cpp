#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "platform/Json.h"
#include "support/ChildProcess.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
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

// The variable that tells where the user's application-support folder is, and the file below it.
#if defined(_WIN32)
const std::string kVariable = "APPDATA=";
const std::string kFile = "Brindlevane/bridge.json";
#elif defined(__APPLE__)
const std::string kVariable = "HOME=";
const std::string kFile = "Library/Application Support/Brindlevane/bridge.json";
#else
const std::string kVariable = "XDG_DATA_HOME=";
const std::string kFile = "Brindlevane/bridge.json";
#endif

class Process : public testing::Test {
 protected:
  /// A server that finds the bridge which listens at this port.
  [[nodiscard]] ChildProcess serverOf(std::uint16_t port) const {
    folder.write(kFile, configuration(port));
    return serverAlone();
  }

  [[nodiscard]] ChildProcess serverAlone() const {
    return ChildProcess({BRINDLEVANE_SERVER}, {kVariable + folder.path().string()});
  }

  static std::string configuration(std::uint16_t port) {
    return compactJson({{"bridgeUrl", "http://127.0.0.1:" + std::to_string(port)},
                        {"authToken", std::string(32, 't')}});
  }

  TemporaryFolder folder;
};

TEST_F(Process, OnlyAnswersComeOutAndTheEndOfInputEndsIt) {
  ChildProcess server = serverAlone();
  server.send("\n" + kPing + "\r\n{\"method\":\"initialized\"}\n" + kPing);
  server.closeInput();
  EXPECT_EQ(server.restOfOutput(),
            R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})"
            "\n" +
                kPong + "\n" + kPong + "\n");
  EXPECT_EQ(server.restOfError(), "");
  EXPECT_EQ(server.wait(), 0);
}

TEST_F(Process, ARunningCallIsAnsweredAfterTheEndOfInput) {
  const LoopbackServer bridge([](LoopbackServer::Connection& connection) {
    (void)connection.receive();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    connection.send("HTTP/1.1 503 Busy\r\nContent-Length: 2\r\n\r\n{}");
  });
  ChildProcess server = serverOf(bridge.port());
  server.send(kCall + "\n" + kPing + "\n");
  server.closeInput();
  EXPECT_NE(server.line().find("BrindlevaneBridge error HTTP_503: The request was rejected."),
            std::string::npos);
  EXPECT_EQ(server.line(), kPong);
  EXPECT_EQ(server.wait(), 0);
}

TEST_F(Process, ItLeavesWhenItIsToldToOrNobodyListens) {
  for (const bool isTold : {true, false}) {
    ChildProcess server = serverAlone();
    server.send(kPing + "\n");
    EXPECT_EQ(server.line(), kPong);
    isTold ? server.end(false) : server.closeOutput();
    EXPECT_EQ(server.wait(), isTold ? -15 : 0);
  }
  const LoopbackServer silent([](LoopbackServer::Connection& connection) {
    while (!connection.receive().empty()) {
    }
  });
  ChildProcess server = serverOf(silent.port());
  server.send(kCall + "\n");
  while (silent.connections() == 0) {
    std::this_thread::yield();
  }
  server.closeOutput();
  EXPECT_EQ(server.wait(), 0);
}

/// A bridge whose selected clip plays this file.
LoopbackServer::Treatment playing(const std::string& file, int startSeconds = 0) {
  return [file, startSeconds](LoopbackServer::Connection& connection) {
    const bool isHealth = connection.receive().starts_with("GET /v1/health");
    const Json result =
        isHealth ? Json{{"bridgeVersion", BrindlevaneBridgeCompatibility::minimumVersion},
                        {"capabilities", BrindlevaneBridgeCompatibility::requiredCapabilities()}}
                 : Json{{"kind", "audio"},
                        {"filePath", file},
                        {"analysisRange", {{"startSeconds", startSeconds}}}};
    connection.send("HTTP/1.0 200 OK\r\n\r\n" + compactJson({{"ok", true}, {"result", result}}));
  };
}

TEST_F(Process, NoListenerOutlivesTheServer) {
  // GSM 6.10 of 8 kHz, of which all that lies before the clip has to be decoded: five days.
  constexpr std::string_view kHeader(
      "RIFF\xff\xff\xff\xffWAVEfmt \x14\0\0\0\x31\0\1\0\x40\x1f\0\0\x59\6\0\0\x41\0\0\0\2\0\x40\1"
      "data\xf0\xff\xff\x7f",
      48);
  const std::filesystem::path file = folder.write("long.wav", std::string(kHeader));
  std::filesystem::resize_file(file, std::uintmax_t{1} << 30U);
  const LoopbackServer bridge(playing(file.string(), 500000));
  for (const bool isKilled : {true, false}) {
    ChildProcess server = serverOf(bridge.port());
    server.send(kListen + "\n");
    int child = 0;
    while (child == 0) {
      child = childOf(server.number());
    }
    isKilled ? server.end(true) : server.closeOutput();
    EXPECT_EQ(server.wait(), isKilled ? -9 : 0);
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (runs(child)) {
      ASSERT_LT(std::chrono::steady_clock::now(), patience);
      std::this_thread::yield();
    }
  }
}

TEST_F(Process, DecodersAreOutOfItAndWhatTheyPrintAboutDamagedFilesGoesNowhere) {
  const LoopbackServer bridge(playing(folder.file("damaged")));
  ChildProcess server = serverOf(bridge.port());
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
#ifdef __linux__
  std::ifstream maps("/proc/" + std::to_string(server.number()) + "/maps");
  const std::string mapped(std::istreambuf_iterator<char>(maps), {});
  EXPECT_NE(mapped.find("libc"), std::string::npos);
  for (const char* decoding : {"sndfile", "libav", "libswresample"}) {
    EXPECT_EQ(mapped.find(decoding), std::string::npos) << decoding;
  }
#endif
  server.closeInput();
  EXPECT_EQ(server.wait(), 0);
  EXPECT_EQ(server.restOfOutput(), "");
  EXPECT_EQ(server.restOfError(), "");
}

TEST_F(Process, TheConfigurationIsReadAnew) {
  const std::string proper = configuration(1024);  // a port on which nobody listens
  ChildProcess server = serverAlone();
  const auto expectRefusal = [&server](const std::string& message) {
    server.send(kCall + "\n");
    EXPECT_NE(server.line().find(message), std::string::npos) << message;
  };
  expectRefusal(kNotInstalled);
  constexpr std::size_t kLongest = 1U << 20U;
  const std::string longest = proper + std::string(kLongest - proper.size(), ' ');
  folder.write(kFile, longest);
  expectRefusal(kNotConnected);
  folder.write(kFile, longest + ' ');
  expectRefusal(kInvalid);
}

}  // namespace
}  // namespace brindlevane
