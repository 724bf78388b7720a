#include "platform/StandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
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
    for (std::size_t at = 0; at < bytes.size();) {
      const ssize_t count = write(ends[1], bytes.data() + at, bytes.size() - at);
      at += static_cast<std::size_t>(count > 0 ? count : 0);
    }
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

TEST(LineReader, ItWaitsThroughSignalsAndPausesOfTheWriter) {
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {};
  struct sigaction before {};
  sigaction(SIGUSR1, &interrupting, &before);
  for (const int flags : {0, O_NONBLOCK}) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    fcntl(ends[0], F_SETFL, flags);
    std::thread writer([&ends, reader = pthread_self()] {
      for (const char byte : {'a', 'b', '\n'}) {
        for (int i = 0; i < 20; ++i) {
          pthread_kill(reader, SIGUSR1);
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(write(ends[1], &byte, 1), 1);
      }
    });
    LineReader reader(ends[0]);
    EXPECT_EQ(reader.next(), "ab");
    writer.join();
    close(ends[1]);
    EXPECT_EQ(reader.next(), std::nullopt);
    close(ends[0]);
  }
  sigaction(SIGUSR1, &before, nullptr);
}

TEST(LineReader, WhatCannotBeReadHasNoLines) {
  const int folder = open("/", O_RDONLY | O_DIRECTORY);
  EXPECT_EQ(LineReader(folder).next(), std::nullopt);
  close(folder);
  EXPECT_EQ(LineReader(-1).next(), std::nullopt);
}

}  // namespace
}  // namespace brindlevane
