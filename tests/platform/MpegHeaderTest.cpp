#include "platform/RegularFile.h"
#include "platform/sound/MpegHeader.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

TEST(MpegHeader, FramesOfEachBitRateFollowOneAnotherToTheEndOfTheFile) {
  const TemporaryFolder folder;
  testing::writeWav(folder.file("a.wav"), {testing::noise(1, 0.1, 20000)}, 48000);
  const std::string halved = "8 16 24 32 40 48 56 64 80 96 112 128 144 160";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"mp2 -ar 48000", "32 48 56 64 80 96 112 128 160 192"},
      {"mp2 -ar 44100 -ac 2", "224 256 320 384"},
      {"mp2 -ar 22050", halved},
      {"libmp3lame -ar 44100", "32 40 48 56 64 80 96 112 128 160 192 224 256 320"},
      {"libmp3lame -ar 24000", halved},
      {"libmp3lame -ar 8000", "8 24 64"}};
  for (const auto& [codec, bitRates] : cases) {
    SCOPED_TRACE(codec);
    // All bit rates one after another in one file.
    testing::run("cd " + folder.path().string() + " && ffmpeg -v error -y -i a.wav $(for k in " +
                 bitRates + "; do echo -c:a " + codec + " -b:a ${k}k -f mp2 $k; done) && cat " +
                 bitRates + " > all");
    const RegularFile file = RegularFile::open(folder.file("all")).value();
    std::int64_t at = 0;
    while (const std::int64_t length = mpegFrameLength(file, at)) {
      at += length;
    }
    EXPECT_EQ(at, file.size());
  }
}

TEST(MpegHeader, OtherBytesAreNoFrame) {
  const std::vector<std::pair<std::vector<std::uint8_t>, int>> cases = {
      {{0xff, 0xfb, 0x90, 0}, 417}, {{0xff, 0xfb, 0x92, 0}, 418}, {{0xfe, 0xfb, 0x90, 0}, 0},
      {{0xff, 0xdb, 0x90, 0}, 0},   {{0xff, 0xeb, 0x90, 0}, 0},   {{0xff, 0xf9, 0x90, 0}, 0},
      {{0xff, 0xff, 0x90, 0}, 0},   {{0xff, 0xfb, 0x00, 0}, 0},   {{0xff, 0xfb, 0xf0, 0}, 0},
      {{0xff, 0xfb, 0x9c, 0}, 0}};
  for (const auto& [header, length] : cases) {
    EXPECT_EQ(mpegFrameBytes(header.data()), length) << ::testing::PrintToString(header);
  }
}

RegularFile fileOf(const TemporaryFolder& folder, const std::string& bytes) {
  return RegularFile::open(folder.write("file", bytes).string()).value();
}

TEST(EndOfTags, IsBehindWholeHeadersOnly) {
  const TemporaryFolder folder;
  const std::string tag("ID3\4\0\0\0\0\1\2", 10);
  const std::vector<std::pair<std::string, std::int64_t>> cases = {
      {tag.substr(0, 9), 0},
      {tag, 140},
      {"ID3" + std::string(7, '\xef'), 10 + 234616815},
      {tag + std::string(130, 'x') + tag, 280},
      {"JD3" + tag.substr(3), 0},
      {"IE3" + tag.substr(3), 0},
      {"ID4" + tag.substr(3), 0}};
  for (const auto& [bytes, end] : cases) {
    EXPECT_EQ(endOfTags(fileOf(folder, bytes)), end) << bytes;
  }
}

TEST(MpegFramesAreCounted, ByAMarkWithACountInTheFirstFrame) {
  const TemporaryFolder folder;
  const auto behind = [](std::size_t bytes, const std::string& mark) {
    return std::string(bytes, 'x') + mark + std::string(50, '\0');
  };
  const std::string counts("\0\0\0\xf", 4);
  const std::vector<std::pair<std::string, bool>> cases = {
      {behind(13, "Xing" + counts), true},
      {behind(36, "Info" + counts), true},
      {behind(37, "Info" + counts), false},
      {behind(21, "Info" + std::string("\0\0\0\xe", 4)), false},
      {behind(36, "VBRI"), true},
      {behind(41, "VBRI"), false},
      {behind(36, "Xinf" + counts), false},
      {"Xing", false},
      {"", false}};
  for (const auto& [bytes, isCounted] : cases) {
    EXPECT_EQ(mpegFramesAreCounted(fileOf(folder, "xyz" + bytes), 3), isCounted) << bytes;
  }
}

}  // namespace
}  // namespace brindlevane
