#include "platform/Json.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace brindlevane {
namespace {

const std::string kPing = R"({"id":2,"method":"ping"})";
const std::string kPong = R"({"id":2,"jsonrpc":"2.0","result":{}})";

TEST(PosixProcess, StreamsThatDoNotBlockAreWaitedFor) {
  constexpr int kRequests = 100;
  ChildProcess server({BRINDLEVANE_SERVER}, {}, false);
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

TEST(PosixProcess, AStandardStreamMayBeClosedAtTheStart) {
  const std::string server = "'" BRINDLEVANE_SERVER "'";
  EXPECT_EQ(std::system((server + " >&- </dev/zero").c_str()), 0);
  const std::string ping = "echo '" + kPing + "' | ";
  const std::string isPong = " | grep -qxF '" + kPong + "'";
  for (const char* closed : {"", " 2>&-"}) {
    EXPECT_EQ(std::system((ping + server + closed + isPong).c_str()), 0);
  }
  EXPECT_EQ(std::system((server + " <&- | cmp - /dev/null").c_str()), 0);
}

TEST(PosixProcess, WhereStandardOutputWasIsNothing) {
  ChildProcess server({BRINDLEVANE_SERVER});
  server.send(kPing + "\n");
  EXPECT_EQ(server.line(), kPong);
  for (const char* descriptor : {"1", "2"}) {
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(server.number()) + "/fd/" +
                                            descriptor),
              "/dev/null");
  }
}

TEST(PosixProcess, TheConfigurationIsTheCurrentUsersAndNoPipe) {
  const TemporaryFolder folder;
  ChildProcess server({BRINDLEVANE_SERVER}, {"XDG_DATA_HOME=", "HOME=" + folder.path().string()});
  const auto expectRefusal = [&server](const std::string& message) {
    server.send(R"({"id":1,"method":"tools/call","params":{"name":"brindlevane_get_context"}})"
                "\n");
    EXPECT_NE(server.line().find(message), std::string::npos) << message;
  };
  const std::string file = ".local/share/Brindlevane/bridge.json";
  folder.write(file, "{}");
  expectRefusal("The local BrindlevaneBridge configuration is invalid.");
  std::filesystem::remove(folder.path() / file);
  ASSERT_EQ(mkfifo((folder.path() / file).c_str(), 0600), 0);
  expectRefusal("BrindlevaneBridge is not installed.");
}

}  // namespace
}  // namespace brindlevane
