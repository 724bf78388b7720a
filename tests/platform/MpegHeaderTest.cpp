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
  const std::vector<int> layer2 = {32, 48, 56, 64, 80, 96, 112, 128, 160, 192};
  const std::vector<int> high2 = {224, 256, 320, 384};
  const std::vector<int> layer3 = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
  const std::vector<int> halved = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
  struct Case {
    std::string codec;
    std::vector<int> bitRates;
  };
  for (const Case& each : std::vector<Case>{{"mp2 -f mp2 -ar 48000", layer2},
                                            {"mp2 -f mp2 -ar 44100 -ac 2", high2},
                                            {"mp2 -f mp2 -ar 22050", halved},
                                            {"libmp3lame -write_xing 0 -ar 44100", layer3},
                                            {"libmp3lame -write_xing 0 -ar 24000", halved},
                                            {"libmp3lame -write_xing 0 -ar 8000", {8, 24, 64}}}) {
    const auto madeWith = [&](int kilobits) {
      return folder.file(std::to_string(kilobits) + "k.mp3");
    };
    std::string making = "ffmpeg -v error -y -i " + folder.file("a.wav");
    for (const int kilobits : each.bitRates) {
      making +=
          " -c:a " + each.codec + " -b:a " + std::to_string(kilobits) + "k " + madeWith(kilobits);
    }
    testing::run(making);
    for (const int kilobits : each.bitRates) {
      SCOPED_TRACE(each.codec + std::to_string(kilobits));
      const RegularFile file = RegularFile::open(madeWith(kilobits)).value();
      const std::int64_t end = file.size();
      std::int64_t at = endOfTags(file);
      int frames = 0;
      while (const std::int64_t length = mpegFrameLength(file, at, end)) {
        at += length;
        ++frames;
      }
      EXPECT_EQ(at, end);
      EXPECT_GT(frames, 5);
    }
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

TEST(EndOfTags, IsBehindWholeHeadersOnly) {
  const TemporaryFolder folder;
  const std::string tag("ID3\4\0\0\0\0\1\2", 10);
  for (const auto& [bytes, end] : std::vector<std::pair<std::string, std::int64_t>>{
           {tag.substr(0, 9), 0},
           {tag, 140},
           {"ID3" + std::string(7, '\xef'), 10 + 234616815},
           {tag + std::string(130, 'x') + tag, 280},
           {"JD3" + tag.substr(3), 0},
           {"IE3" + tag.substr(3), 0},
           {"ID4" + tag.substr(3), 0}}) {
    testing::writeBytes(folder.file("tagged"), bytes);
    EXPECT_EQ(endOfTags(RegularFile::open(folder.file("tagged")).value()), end) << bytes;
  }
}

TEST(MpegFramesAreCounted, ByAMarkWithACountInTheFirstFrame) {
  const TemporaryFolder folder;
  const auto behind = [](std::size_t bytes, const std::string& mark) {
    return std::string(bytes, 'x') + mark + std::string(50, '\0');
  };
  const std::string counts("\0\0\0\xf", 4);
  for (const auto& [bytes, isCounted] : std::vector<std::pair<std::string, bool>>{
           {behind(13, "Xing" + counts), true},
           {behind(36, "Info" + counts), true},
           {behind(37, "Info" + counts), false},
           {behind(21, "Info" + std::string("\0\0\0\xe", 4)), false},
           {behind(36, "VBRI"), true},
           {behind(41, "VBRI"), false},
           {behind(36, "Xinf" + counts), false},
           {"Xing", false},
           {"", false}}) {
    testing::writeBytes(folder.file("frame"), "xyz" + bytes);
    EXPECT_EQ(mpegFramesAreCounted(RegularFile::open(folder.file("frame")).value(), 3), isCounted)
        << bytes;
  }
}

}  // namespace
}  // namespace brindlevane
