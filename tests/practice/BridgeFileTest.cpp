#include "platform/Files.h"
#include "platform/Json.h"
#include "practice/BridgeFile.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <optional>

namespace brindlevane::practice {
namespace {

namespace fs = std::filesystem;

TEST(BridgeFile, IsPrivateAndGoesWithItsObject) {
  const TemporaryFolder folder;
  std::optional<BridgeFile> file(std::in_place, folder.path() / "a" / "b", 4321, "secret");
  const Json content = parseJson(readRegularFile(file->path(), 4096).value()).value();
  EXPECT_EQ(content, Json({{"bridgeUrl", "http://127.0.0.1:4321"}, {"authToken", "secret"}}));
  EXPECT_EQ(fs::status(file->path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  const fs::path path = file->path();
  file.reset();
  EXPECT_FALSE(fs::exists(path));
}

TEST(BridgeFile, LeavesWhatIsNotItsOwn) {
  const TemporaryFolder folder;
  const fs::path path = folder.write("Brindlevane/bridge.json", "{}");
  EXPECT_THROW(BridgeFile(folder.path(), 4321, "secret"), std::runtime_error);
  EXPECT_EQ(readRegularFile(path, 9), "{}");
  fs::remove(path);
  fs::create_symlink("/nowhere", path);
  EXPECT_THROW(BridgeFile(folder.path(), 4321, "secret"), std::runtime_error);
  fs::remove(path);
  {
    const BridgeFile file(folder.path(), 4321, "secret");
    folder.write("Brindlevane/bridge.json", "[]");
  }
  EXPECT_EQ(readRegularFile(path, 9), "[]");
}

}  // namespace
}  // namespace brindlevane::practice
