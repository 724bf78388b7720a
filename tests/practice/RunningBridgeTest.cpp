#include "platform/Files.h"
#include "platform/Json.h"
#include "practice/RunningBridge.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <optional>

namespace brindlevane::practice {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kFiles = {"/x"};  // a set that is opened in no time

TEST(RunningBridge, IsFoundByAPrivateFileThatGoesWithIt) {
  const TemporaryFolder folder;
  std::optional<RunningBridge> bridge(std::in_place, folder.path() / "a" / "b", kFiles);
  const fs::path file = bridge->file();
  EXPECT_EQ(file, folder.path() / "a" / "b" / "Brindlevane" / "bridge.json");
  const Json content = parseJson(readRegularFile(file, 4096).value()).value();
  EXPECT_EQ(content["bridgeUrl"], "http://127.0.0.1:" + std::to_string(bridge->port()));
  EXPECT_EQ(content["authToken"].get<std::string>().size(), 48U);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  bridge.reset();
  EXPECT_FALSE(fs::exists(file));
}

TEST(RunningBridge, LeavesTheFileOfAnother) {
  const TemporaryFolder folder;
  const auto start = [&folder] { RunningBridge(folder.path(), kFiles); };
  const fs::path file = folder.write("Brindlevane/bridge.json", "{}");
  EXPECT_THROW(start(), std::runtime_error);
  EXPECT_EQ(readRegularFile(file, 9), "{}");
  fs::remove(file);
  fs::create_symlink("/nowhere", file);
  EXPECT_THROW(start(), std::runtime_error);
  fs::remove(file);
  {
    const RunningBridge bridge(folder.path(), kFiles);
    folder.write("Brindlevane/bridge.json", "[]");
  }
  EXPECT_EQ(readRegularFile(file, 9), "[]");
}

}  // namespace
}  // namespace brindlevane::practice
