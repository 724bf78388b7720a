#include "practice/Page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <vector>

namespace brindlevane::practice {
namespace {

Json measurementOf(int channels) {
  Json m = Json::parse(R"({"analyzedSeconds":90.0,"sourceDurationSeconds":1170.0,
      "sampleRate":44100.0,"samplePeakDbFS":-1.5,"rmsDbFS":-12.25,"crestFactorDb":10.75,
      "dynamicRangeDb":6.0,"spectralCentroidHz":900,"clippedSamplePercent":0.0,"key":"F♯ minor",
      "keyConfidence":0.9,"bandEnergyPercent":{"sub_20_60":100.0,"air_6000_20000":0.0}})");
  m.update({{"channelCount", channels},
            {"waveform", std::vector<double>(120, 0.5)},
            {"spectrogram", std::vector(72, std::vector<double>(48, 0.75))}});
  if (channels > 1) {
    m.update({{"stereoCorrelation", 0.5}, {"stereoWidthPercent", 40.0}});
  }
  return m;
}

TEST(Page, FitsEveryTerminal) {
  for (const int width : {40, 60, 80, 120}) {
    for (const bool isAscii : {false, true}) {
      SCOPED_TRACE(std::to_string(width) + (isAscii ? " ASCII" : ""));
      std::ostringstream out;
      Page page(out, static_cast<std::size_t>(width), isAscii);
      page.measurement(measurementOf(2));
      page.words("> a_tool with=arguments that are long enough for more than one line → é", 4, 6);
      page.line(std::string(200, 'x') + "  ");
      page.line("short   ");
      std::istringstream lines(out.str());
      std::ptrdiff_t widest = 0;
      for (std::string line; std::getline(lines, line);) {
        EXPECT_FALSE(line.ends_with(' ')) << line;
        const auto isStart = [](char byte) { return (byte & 0xc0) != 0x80; };
        widest = std::max(widest, std::ranges::count_if(line, isStart));
        EXPECT_TRUE(!isAscii || std::ranges::all_of(line, [](char byte) { return byte > 0; }));
      }
      EXPECT_EQ(widest, width);
    }
  }
}

TEST(Page, SaysWhatWasNotHeard) {
  const auto says = [](const Json& measurement, const std::string& text) {
    std::ostringstream out;
    Page(out, 120, true).measurement(measurement);
    return out.str().find(text) != std::string::npos;
  };
  const Json surround = measurementOf(6);
  EXPECT_TRUE(says(surround, "the first 90.0 s of 19 min 30 s, 44.1 kHz, 6 channels, F# minor"));
  EXPECT_TRUE(says(surround, "width 40 % (of the first two channels)"));
  Json whole = measurementOf(1);
  whole["sourceDurationSeconds"] = 90.0;
  EXPECT_TRUE(says(whole, "      90.0 s, 44.1 kHz, 1 channel, "));
  EXPECT_FALSE(says(whole, "correlation"));
}

TEST(Printable, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(printable("caf\xc3\xa9 \"1\""), "caf\xc3\xa9 \"1\"");
  EXPECT_EQ(printable("\x1b[1m\x7f\n"), "\xef\xbf\xbd[1m\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(printable("caf\xe9.wav"), "caf\xef\xbf\xbd.wav");
}

}  // namespace
}  // namespace brindlevane::practice
