#include "practice/Page.h"

#include <gtest/gtest.h>

#include <algorithm>
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
  for (const std::size_t width : {40U, 60U, 80U, 120U}) {
    for (const bool isAscii : {false, true}) {
      SCOPED_TRACE(std::to_string(width) + (isAscii ? " ASCII" : ""));
      std::ostringstream out;
      Page page(out, width, isAscii);
      page.measurement(measurementOf(2));
      page.words("> a_tool with=arguments that are long enough for more than one line → é", 4, 6);
      page.line(std::string(200, 'x') + "  ");
      page.line("short   ");
      std::istringstream lines(out.str());
      std::size_t widest = 0;
      for (std::string line; std::getline(lines, line);) {
        EXPECT_FALSE(line.ends_with(' ')) << line;
        widest = std::max(widest, static_cast<std::size_t>(std::ranges::count_if(
                                      line, [](char byte) { return (byte & 0xc0) != 0x80; })));
        EXPECT_TRUE(!isAscii || std::ranges::all_of(line, [](char byte) { return byte > 0; }));
      }
      EXPECT_EQ(widest, width);
    }
  }
}

TEST(Page, SaysWhatWasNotHeard) {
  const auto textOf = [](const Json& measurement) {
    std::ostringstream out;
    Page(out, 120, true).measurement(measurement);
    return out.str();
  };
  const std::string surround = textOf(measurementOf(6));
  EXPECT_NE(surround.find("the first 90.0 s of 19 min 30 s, 44.1 kHz, 6 channels, F# minor"),
            std::string::npos)
      << surround;
  EXPECT_NE(surround.find("width 40 % (of the first two channels)"), std::string::npos);
  Json whole = measurementOf(1);
  whole["sourceDurationSeconds"] = 90.0;
  EXPECT_NE(textOf(whole).find("      90.0 s, 44.1 kHz, 1 channel, "), std::string::npos);
  EXPECT_EQ(textOf(whole).find("correlation"), std::string::npos);
}

TEST(Printable, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(printable("caf\xc3\xa9 \"1\""), "caf\xc3\xa9 \"1\"");
  EXPECT_EQ(printable("\x1b[1m\x7f\n"), "\xef\xbf\xbd[1m\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(printable("caf\xe9.wav"), "caf\xef\xbf\xbd.wav");
}

}  // namespace
}  // namespace brindlevane::practice
