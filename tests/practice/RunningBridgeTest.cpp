#include "platform/RegularFile.h"
#include "practice/RunningBridge.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <memory>

namespace brindlevane::practice {
namespace {

namespace fs = std::filesystem;

// That a client finds the bridge by the file shows in tests/interop.
TEST(RunningBridge, HasAPrivateFileWhichGoesWithItAndIsNoOthers) {
  const TemporaryFolder folder;
  const fs::path file = folder.path() / "a" / "b" / "Brindlevane" / "bridge.json";
  const std::vector<std::string> files = {"/x"};  // a set that is opened in no time
  const auto start = [&] { return std::make_unique<RunningBridge>(folder.path() / "a/b", files); };
  auto bridge = start();
  EXPECT_EQ(bridge->file(), file);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_THROW(start(), std::runtime_error);
  EXPECT_TRUE(fs::exists(file));
  bridge.reset();
  EXPECT_FALSE(fs::exists(file));
  fs::create_symlink(folder.path() / "nowhere", file);
  EXPECT_THROW(start(), std::runtime_error);
  fs::remove(file);
  bridge = start();
  folder.write("a/b/Brindlevane/bridge.json", "[]");
  bridge.reset();
  EXPECT_EQ(readRegularFile(file, 9), "[]");
}

}  // namespace
}  // namespace brindlevane::practice
