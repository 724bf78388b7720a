#include "platform/FileAttributes.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace brindlevane {
namespace {

TEST(FileAttributes, TellSizeAndTimeOfModification) {
  const TemporaryFolder directory;
  directory.write("f", "12345");
  directory.write("f\x01", "123");
  const timespec times[2] = {{0, 0}, {1700000000, 250000000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, directory.file("f").c_str(), times, 0), 0);
  const auto attributes = fileAttributes(directory.file("f"));
  ASSERT_TRUE(attributes);
  EXPECT_EQ(attributes->size, 5U);
  EXPECT_EQ(attributes->modifiedSince1970, 1700000000.25);
  EXPECT_FALSE(fileAttributes(directory.file("missing")));
  // A NUL byte is part of no file's name.
  EXPECT_FALSE(fileAttributes(directory.file("f") + std::string("\0.wav", 5)));
  EXPECT_EQ(fileAttributes(directory.file("f\x01")).value().size, 3U);
}

TEST(StandardizedPath, IsAbsoluteAndPlain) {
  EXPECT_EQ(standardizedPath("/a/./b//c/../d.wav"), "/a/b/d.wav");
  EXPECT_EQ(standardizedPath("/a/b/"), "/a/b");
  EXPECT_EQ(standardizedPath("/"), "/");
  EXPECT_EQ(standardizedPath("x.wav"), (std::filesystem::current_path() / "x.wav").string());
}

}  // namespace
}  // namespace brindlevane
