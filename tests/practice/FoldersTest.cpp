#include "platform/Files.h"
#include "practice/Folders.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <optional>

namespace brindlevane::practice {
namespace {

namespace fs = std::filesystem;

TEST(BridgeFile, IsPrivateAndGoesWithTheFoldersThatWereMadeForIt) {
  const TemporaryFolder folder;
  std::optional<BridgeFile> file(std::in_place, folder.path() / "a" / "b", 4321, "secret");
  const Json content = Json::parse(readRegularFile(file->path(), 4096).value());
  EXPECT_EQ(content["bridgeUrl"], "http://127.0.0.1:4321");
  EXPECT_EQ(content["authToken"], "secret");
  EXPECT_EQ(fs::status(file->path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(std::distance(fs::directory_iterator(file->path().parent_path()), {}), 1);
  file.reset();
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(BridgeFile, NeverTakesThePlaceOfAUsersOwn) {
  const std::vector<std::string> contents = {
      R"({"bridgeUrl": "http://127.0.0.1:9001", "authToken": "x"})", "", "[]",
      R"({"practiceProcess": 1})",  // still running
      R"({"practiceProcess": "1"})"};
  for (const std::string& own : contents) {
    SCOPED_TRACE(own);
    const TemporaryFolder folder;
    const fs::path path = folder.write("Brindlevane/bridge.json", own);
    EXPECT_THROW(BridgeFile(folder.path(), 4321, "secret"), std::runtime_error);
    EXPECT_EQ(readRegularFile(path, 4096), own);
  }
  const TemporaryFolder folder;
  fs::create_directory(folder.path() / "Brindlevane");
  fs::create_symlink("/nowhere", folder.path() / "Brindlevane" / "bridge.json");
  EXPECT_THROW(BridgeFile(folder.path(), 4321, "secret"), std::runtime_error);
}

TEST(BridgeFile, TakesThePlaceOfOneThatACrashLeftBehind) {
  const TemporaryFolder folder;
  // Beyond the largest process number of Linux and macOS.
  folder.write("Brindlevane/bridge.json", R"({"practiceProcess": 2000000000})");
  { const BridgeFile file(folder.path(), 4321, "secret"); }
  EXPECT_TRUE(fs::is_empty(folder.path() / "Brindlevane"));
}

TEST(BridgeFile, LeavesAFileThatSomebodyElseHasWrittenMeanwhile) {
  const TemporaryFolder folder;
  {
    const BridgeFile file(folder.path(), 4321, "secret");
    folder.write("Brindlevane/bridge.json", "{}");
  }
  EXPECT_EQ(readRegularFile(folder.path() / "Brindlevane" / "bridge.json", 9), "{}");
}

}  // namespace
}  // namespace brindlevane::practice
