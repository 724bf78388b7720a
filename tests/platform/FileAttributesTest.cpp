#include "platform/FileAttributes.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <string>

namespace brindlevane {
namespace {

TEST(FileAttributes, ANulByteIsPartOfNoFilesName) {
  const testing::TemporaryDirectory directory;
  testing::writeBytes(directory.file("f"), "12345");
  testing::writeBytes(directory.file("f\x01"), "123");
  EXPECT_FALSE(fileAttributes(directory.file("f") + std::string("\0.wav", 5)));
  EXPECT_EQ(fileAttributes(directory.file("f\x01")).value().size, 3U);
}

}  // namespace
}  // namespace brindlevane
