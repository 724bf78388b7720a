#include "platform/FileAttributes.h"
#include "platform/Folders.h"
#include "platform/RegularFile.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

namespace brindlevane {
namespace {

int lowestFreeDescriptor() {
  const int descriptor = open("/dev/null", O_RDONLY);
  close(descriptor);
  return descriptor;
}

TEST(Files, AFileIsReadUpToALimit) {
  const TemporaryFolder folder;
  for (const std::size_t length : std::vector<std::size_t>{0, 1, 4095, 4096, 4097, 10000}) {
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) {
      bytes += static_cast<char>(i % 251);  // other than its neighbours, a block away too
    }
    const std::string file = folder.write("file", bytes).string();
    for (const std::size_t longest : {length / 2, length - 1, length, length + 1, length * 2}) {
      EXPECT_EQ(readRegularFile(file, longest), bytes.substr(0, longest)) << length << longest;
    }
  }
}

TEST(Files, WhatIsNoRegularFileIsNeitherReadNorHeldOpen) {
  const TemporaryFolder folder;
  const auto file = folder.write("file", "bytes");
  const auto pipe = folder.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::filesystem::create_symlink(file, folder.path() / "link");
  std::filesystem::create_symlink(folder.path() / "nothing", folder.path() / "dead");
  const int free = lowestFreeDescriptor();
  for (const std::filesystem::path& path :
       {pipe, folder.path(), folder.path() / "nothing", folder.path() / "dead",
        std::filesystem::path("/dev/null"), file / "below",
        std::filesystem::path(file.string() + '\0'), std::filesystem::path()}) {
    EXPECT_FALSE(readRegularFile(path.string(), 100)) << path;
  }
  EXPECT_EQ(readRegularFile(folder.file("link"), 100), "bytes");
  EXPECT_EQ(lowestFreeDescriptor(), free);
}

TEST(Files, ADescriptorHasOneOwner) {
  const TemporaryFolder folder;
  const std::string path = folder.write("file", "bytes").string();
  const int first = lowestFreeDescriptor();
  {
    const RegularFile owner = RegularFile(*RegularFile::open(path));
    EXPECT_NE(fcntl(first, F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(lowestFreeDescriptor(), first);

  // Without a standard input a file gets its descriptor.
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  {
    const auto owner = RegularFile::open(path);
    EXPECT_GT(lowestFreeDescriptor(), STDIN_FILENO);
  }
  EXPECT_EQ(lowestFreeDescriptor(), STDIN_FILENO);
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST(FileAttributes, TellSizeAndTimeOfModification) {
  const TemporaryFolder folder;
  const std::string file = folder.write("f", "12345").string();
  const timespec times[2] = {{0, 0}, {1700000000, 250000000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  EXPECT_EQ(fileAttributes(file).value().size, 5U);
  EXPECT_EQ(fileAttributes(file).value().modifiedSince1970, 1700000000.25);
  EXPECT_EQ(fileAttributes(folder.write("f\x01", "123").string()).value().size, 3U);
  EXPECT_FALSE(fileAttributes(folder.file("missing")));
  // A NUL byte is part of no file's name.
  EXPECT_FALSE(fileAttributes(file + std::string("\0.wav", 5)));
}

TEST(StandardizedPath, IsAbsoluteAndPlain) {
  EXPECT_EQ(standardizedPath("/a/./b//c/../d.wav"), "/a/b/d.wav");
  EXPECT_EQ(standardizedPath("/a/b/"), "/a/b");
  EXPECT_EQ(standardizedPath("/"), "/");
  EXPECT_EQ(standardizedPath("x.wav"), (std::filesystem::current_path() / "x.wav").string());
}

#ifndef __APPLE__
TEST(Files, DataLieInTheFolderThatTheUserHasChosen) {
  const std::string home = getpwuid(getuid())->pw_dir;
  const std::vector<std::tuple<const char*, const char*, std::string>> cases = {
      {"/data", "/home/me", "/data"},
      {"", "/home/me", "/home/me/.local/share"},
      {"data", "/home/me", "/home/me/.local/share"},
      {nullptr, "/home/me", "/home/me/.local/share"},
      {nullptr, "", home + "/.local/share"},
      {nullptr, "me", home + "/.local/share"},
      {nullptr, nullptr, home + "/.local/share"}};
  const auto set = [](const char* name, const char* value) {
    value == nullptr ? unsetenv(name) : setenv(name, value, 1);
  };
  // Nothing else in this program asks for them, so they are not set back.
  for (const auto& [dataHome, userHome, folder] : cases) {
    set("XDG_DATA_HOME", dataHome);
    set("HOME", userHome);
    EXPECT_EQ(applicationSupportFolder(), folder);
  }
}
#endif

}  // namespace
}  // namespace brindlevane
