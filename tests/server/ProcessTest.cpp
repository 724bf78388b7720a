#include "bridge/BrindlevaneBridgeCompatibility.h"
#include "platform/Json.h"
#include "support/ChildProcess.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
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

  static std::string answered(ChildProcess& server, const std::string& line) {
    server.send(line + "\n");
    return server.line();
  }

  static void expectRefusal(ChildProcess& server, const std::string& message) {
    EXPECT_NE(answered(server, kCall).find(message), std::string::npos) << message;
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
    EXPECT_EQ(answered(server, kPing), kPong);
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

#ifdef __linux__
/// What the system tells of a process in one of its files.
std::string toldOf(int process, const std::string& name) {
  std::ifstream file("/proc/" + std::to_string(process) + "/" + name);
  return {std::istreambuf_iterator<char>(file), {}};
}
#endif

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

TEST_F(Process, AListenerIsConfinedAndDoesNotOutliveTheServer) {
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
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
#ifdef __linux__
    while (toldOf(child, "limits").find("Max file size             0 ") == std::string::npos) {
      ASSERT_LT(std::chrono::steady_clock::now(), patience) << "it is not confined";
    }
#endif
    isKilled ? server.end(true) : server.closeOutput();
    EXPECT_EQ(server.wait(), isKilled ? -9 : 0);
    while (runs(child)) {
      ASSERT_LT(std::chrono::steady_clock::now(), patience);
      std::this_thread::yield();
    }
  }
}

TEST_F(Process, DecodersAreOutOfItAndWhatTheyPrintAboutDamagedFilesGoesNowhere) {
  const LoopbackServer bridge(playing(folder.file("damaged")));
  ChildProcess server = serverOf(bridge.port());
  ASSERT_FALSE(std::filesystem::is_empty(AUDIO_FILES));
  for (const auto& entry : std::filesystem::directory_iterator(AUDIO_FILES)) {
    std::ifstream source(entry.path(), std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(source), {});
    for (std::size_t i = 300; i < bytes.size(); i += 211) {
      bytes[i] = static_cast<char>(bytes[i] ^ 0x55);
    }
    folder.write("damaged", bytes);
    SCOPED_TRACE(entry.path());
    EXPECT_EQ(parseJson(answered(server, kListen)).value().at("result").at("content").size(), 1U);
  }
#ifdef __linux__
  const std::string mapped = toldOf(server.number(), "maps");
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
  expectRefusal(server, "BrindlevaneBridge is not installed.");
  constexpr std::size_t kLongest = 1U << 20U;
  const std::string longest = proper + std::string(kLongest - proper.size(), ' ');
  folder.write(kFile, longest);
  expectRefusal(server, "Ableton Live is not connected to BrindlevaneBridge.");
  folder.write(kFile, longest + ' ');
  expectRefusal(server, "The local BrindlevaneBridge configuration is invalid.");
}

#if !defined(_WIN32)

TEST_F(Process, StreamsThatDoNotBlockAreWaitedFor) {
  ChildProcess server({BRINDLEVANE_SERVER}, {}, false);
  EXPECT_EQ(answered(server, kPing), kPong);
  std::string requests;
  for (int i = 0; i < 100; ++i) {
    requests += "{\"id\":1,\"method\":\"tools/list\"}\n";
  }
  server.send(requests);
  server.closeInput();
  const std::string first = server.line();
  // Together more than the widest pipe holds.
  EXPECT_GT(100 * first.size(), 2U << 20U);
  for (int i = 1; i < 100; ++i) {
    EXPECT_TRUE(server.line() == first) << i;
  }
  EXPECT_EQ(server.restOfOutput(), "");
  EXPECT_EQ(server.wait(), 0);
}

TEST_F(Process, AStandardStreamMayBeClosedAtTheStart) {
  const std::string server = "'" BRINDLEVANE_SERVER "'";
  const std::string ping = "echo '" + kPing + "' | ";
  const std::string isPong = " | grep -qxF '" + kPong + "'";
  for (const std::string& command : {server + " >&- </dev/zero", server + " <&- | cmp - /dev/null",
                                     ping + server + isPong, ping + server + " 2>&-" + isPong}) {
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }
}

TEST_F(Process, WhereStandardOutputWasIsNothing) {
  ChildProcess server = serverAlone();
  EXPECT_EQ(answered(server, kPing), kPong);
  const std::string descriptors = "/proc/" + std::to_string(server.number()) + "/fd/";
  EXPECT_EQ(std::filesystem::read_symlink(descriptors + "1"), "/dev/null");
  EXPECT_EQ(std::filesystem::read_symlink(descriptors + "2"), "/dev/null");
}

TEST_F(Process, TheConfigurationIsTheCurrentUsersAndNoPipe) {
  ChildProcess server({BRINDLEVANE_SERVER}, {"XDG_DATA_HOME=", "HOME=" + folder.path().string()});
  const auto file = folder.write(".local/share/Brindlevane/bridge.json", "{}");
  expectRefusal(server, "The local BrindlevaneBridge configuration is invalid.");
  std::filesystem::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  expectRefusal(server, "BrindlevaneBridge is not installed.");
}

#endif

}  // namespace
}  // namespace brindlevane
