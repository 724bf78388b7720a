#include "platform/StandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace brindlevane {
namespace {

/// The lines that a reader makes of the bytes; only the lengths of long ones.
std::vector<std::string> linesOf(const std::string& bytes) {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe(ends.data()), 0);
  std::thread writer([&] {
    EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), std::ssize(bytes));
    close(ends[1]);
  });
  LineReader reader(ends[0]);
  std::vector<std::string> lines;
  while (const auto line = reader.next()) {
    lines.push_back(line->size() < 100 ? *line : std::to_string(line->size()));
  }
  writer.join();
  close(ends[0]);
  return lines;
}

TEST(LineReader, LinesEndAtALineFeedOrCarriageReturnAndLineFeed) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(linesOf(""), Lines{});
  EXPECT_EQ(linesOf("a"), Lines{"a"});
  EXPECT_EQ(linesOf("a\nb\r\n\n\r\n c \rd\r\r\n"), (Lines{"a", "b", "", "", " c \rd\r"}));
  EXPECT_EQ(linesOf("a\r"), Lines{"a\r"});
  EXPECT_EQ(linesOf(std::string("\0\n\xff", 3)), (Lines{std::string(1, '\0'), "\xff"}));
}

TEST(LineReader, ALineBeyondTheLimitIsSkippedToItsEnd) {
  ASSERT_EQ(kLongestLine, std::size_t{64} << 20U);
  const std::string longest(kLongestLine, 'x');
  EXPECT_EQ(linesOf(longest + "\r\n" + longest + "y\nnext\n" + longest + "yz"),
            (std::vector<std::string>{std::to_string(kLongestLine), "", "next", ""}));
}

TEST(LineReader, WhatCannotBeReadHasNoLines) {
  const int folder = open("/", O_RDONLY | O_DIRECTORY);
  EXPECT_EQ(LineReader(folder).next(), std::nullopt);
  close(folder);
  EXPECT_EQ(LineReader(-1).next(), std::nullopt);
}

}  // namespace
}  // namespace brindlevane
