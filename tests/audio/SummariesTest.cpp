#include "audio/Levels.h"
#include "audio/SignalMath.h"
#include "audio/SpectralSummary.h"
#include "audio/StereoSummary.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

using testing::joined;
using testing::noise;
using testing::Signal;
using testing::tones;

// Samples that are one of two by turns.
std::vector<float> byTurns(float even, float odd, std::size_t count = 1000) {
  std::vector<float> samples(count, even);
  for (std::size_t i = 1; i < count; i += 2) {
    samples[i] = odd;
  }
  return samples;
}

// Measured in three blocks, as from a decoder.
template <typename Meter>
auto resultOf(Meter meter, const Signal& channels) {
  const std::vector<float> samples = testing::interleaved(channels);
  const std::size_t head = channels[0].size() / 3 * channels.size();
  meter.add(std::span(samples).first(head));
  meter.add(std::span(samples).subspan(head, head));
  meter.add(std::span(samples).subspan(2 * head));
  return meter.result();
}

Levels levels(const std::vector<float>& samples) {
  return resultOf(LevelMeter(), {samples});
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(Levels, SumInDoublePrecision) {
  const std::vector<float> samples = noise(1, 1.2, 30021);
  const std::vector<double> exact(samples.begin(), samples.end());
  const double sum = std::accumulate(exact.begin(), exact.end(), 0.0);
  const double squares = std::inner_product(exact.begin(), exact.end(), exact.begin(), 0.0);
  const Levels result = levels(samples);
  EXPECT_NEAR(result.dcOffset, sum / 30021, 1e-15);
  EXPECT_NEAR(result.rms, std::sqrt(squares / 30021), 1e-14);
}

TEST(Levels, ClippingBeginsAt0999InSinglePrecision) {
  EXPECT_EQ(levels({0.999F, 0.998F, std::nextafter(0.999F, 0.0F), -0.999F}).clippedPercent, 50);
}

TEST(Levels, LeaveOutSamplesThatAreNotFinite) {
  const std::vector<float> samples =
      joined({kInfinity, -kInfinity, std::nanf("")}, std::vector<float>(3000, 0.5F));
  const Levels result = levels(samples);
  EXPECT_EQ(result.peak, 0.5F);
  EXPECT_EQ(result.rms, 0.5);
  EXPECT_EQ(result.dcOffset, 0.5);
  EXPECT_EQ(levels({kInfinity, kInfinity, kInfinity}).rms, 0);
  EXPECT_EQ(levels({kInfinity, 1, 0, -kInfinity, 0, std::nanf(""), 0}).clippedPercent, 25);
}

TEST(MixToMono, IsTheMeanOfTheChannelsOfEachFrame) {
  const std::vector<float> samples = {6, 12, -18, 24, 30, 36, 42, 48, -54, 60, 66, 72};
  const std::vector<std::pair<std::size_t, std::vector<float>>> cases = {
      {1, samples}, {2, {9, 3, 33, 45, 3, 69}}, {3, {0, 30, 12, 66}}, {6, {15, 39}}};
  for (const auto& [channelCount, expected] : cases) {
    std::vector<float> mono(expected.size());
    mixToMono(samples, channelCount, mono);
    EXPECT_EQ(mono, expected) << channelCount;
  }
}

TEST(Decibels, EndAtMinus120) {
  const std::vector<std::pair<double, double>> cases = {{1, 0},       {0.5, -6.0205999132796239},
                                                        {10, 20},     {1.1e-6, -119.17214629683551},
                                                        {1e-6, -120}, {1e-9, -120},
                                                        {0, -120}};
  for (const auto& [amplitude, level] : cases) {
    EXPECT_NEAR(decibels(amplitude), level, 1e-9) << amplitude;
  }
}

TEST(ShortTermRMS, CutsWindowsOfFourTenthsOfASecondAndSkipsQuietOnes) {
  // The mean square of two neighbouring numbers by turns is 1e-10 in single precision.
  const float above = std::nextafter(1e-5F, 1.0F);
  const std::vector<float> atFloor = byTurns(1e-5F, above, 512);
  ASSERT_EQ(static_cast<float>(sumOfSquares(atFloor) / 512), 1e-10F);
  std::vector<float> mono = joined(atFloor, std::vector<float>(512, above));
  mono.resize(1024 + 511, 1.0F);
  ASSERT_EQ(shortTermRMS(mono, 8).size(), 1U);
  EXPECT_NEAR(shortTermRMS(mono, 8)[0], 1e-5, 1e-11);
  const std::vector<std::tuple<double, std::size_t, std::size_t>> cases = {
      {44100, 17639, 0}, {44100, 17640, 1}, {44100, 4 * 17640 - 1, 3}, {8, 1024, 2},
      {8, 1023, 1},      {1280, 1024, 2},   {1283, 1026, 2},           {1283, 1025, 1}};
  for (const auto& [sampleRate, samples, windows] : cases) {
    EXPECT_EQ(shortTermRMS(std::vector<float>(samples, 0.25F), sampleRate),
              std::vector<double>(windows, 0.25))
        << sampleRate << " " << samples;
  }
}

TEST(PercentileDb, TakesTwoRanksWithoutInterpolation) {
  const std::vector<double> decades = {1e-3, 1, 1e-4, 0.1, 0.01};
  const double nan = std::nan("");
  const std::vector<std::tuple<std::vector<double>, double, double, double>> cases = {
      {decades, 0.75, 0, 60},
      {decades, 0.749, 0.25, 20},
      {decades, 1, 0.5, 40},
      {decades, 0.2, 0.95, 0},
      {decades, 1, 0, 60},
      {{1, 0.1, kInfinity, 0, nan, -1}, 1, 0, 20},
      {{1, kInfinity, 0, nan}, 1, 0, 0},
      {{1e-9, 1e-6, 1e-5}, 1, 0, 20}};
  for (const auto& [amplitudes, high, low, range] : cases) {
    EXPECT_NEAR(percentileDb(amplitudes, high, low), range, 1e-9) << high << " " << low;
  }
}

TEST(SpectralSummary, SpansTheSignalWithAtMost73Rows) {
  const std::vector<std::array<std::size_t, 3>> cases = {
      {4095, 0, 0},       {4096, 1, 0},       {6143, 1, 0},
      {6144, 2, 2048},    {151551, 72, 2048}, {151552, 73, 2048},
      {151623, 73, 2048}, {151624, 73, 2049}, {500000, 73, 6887}};
  for (const auto& [samples, rows, hop] : cases) {
    SCOPED_TRACE(samples);
    std::vector<float> mono(samples);
    if (rows > 0) {
      // The window leaves out the first sample of a frame; only the last frame holds its last one.
      mono[hop * (rows - 1) + 4095] = 1;
      mono[0] = 1;
    }
    const SpectralSummary summary = spectralSummary(mono, 44100);
    EXPECT_EQ(summary.bands.size(), rows > 0 ? 6U : 0U);
    ASSERT_EQ(summary.spectrogram.size(), rows);
    for (std::size_t row = 0; row < rows; ++row) {
      const bool sounds = summary.spectrogram[row] != std::vector<double>(48);
      EXPECT_EQ(sounds, row + 1 == rows) << row;
    }
  }
}

TEST(SpectralSummary, LeavesOutFramesThatAreNotFinite) {
  std::vector<float> mono = noise(4, 0.5, 6144);
  const SpectralSummary second = spectralSummary(std::span(mono).subspan(2048), 44100);
  for (const float sample : {kInfinity, std::nanf("")}) {
    mono[5] = sample;
    const SpectralSummary summary = spectralSummary(mono, 44100);
    EXPECT_EQ(summary.centroid, second.centroid);
    EXPECT_EQ(summary.bands, second.bands);
    EXPECT_EQ(summary.spectrogram,
              (std::vector<std::vector<double>>{std::vector<double>(48), second.spectrogram[0]}));
  }
}

// The frequencies of a click are equally loud; of a tone the window leaves half to the neighbours.
TEST(SpectralSummary, SharesOutTheFrequenciesOfTheTransform) {
  const std::vector<std::string> names = {"sub_20_60",    "bass_60_120",        "lowMid_120_400",
                                          "mid_400_2000", "presence_2000_6000", "air_6000_20000"};
  std::vector<float> click(4096);
  click[2048] = 1e-8F;
  const std::vector<float> two = tones({1996.09375, 2000, 2000}, 0.2, 4096, 8000);
  using Numbers = std::vector<double>;
  // Each frame with the first of the frequencies that it holds, in steps of the transform, the
  // powers from there on, their mean by magnitude and their sums by band. At 81,920 Hz a step is
  // 20 Hz; 20 kHz is in no band.
  const std::vector<std::tuple<double, std::vector<float>, std::size_t, Numbers, double, Numbers>>
      cases = {{44100, click, 2, Numbers(1856, 1), 929.5, {4, 6, 26, 148, 372, 1300}},
               {8000, click, 11, Numbers(2037, 1), 1029, {20, 31, 143, 819, 1024, 0}},
               {81920, click, 1, Numbers(1000, 1), 500.5, {2, 3, 14, 80, 200, 700}},
               {8000, two, 1021, {0.25, 1, 2.25, 4, 1}, 1023 + 1.0 / 3, {0, 0, 0, 3.5, 5, 0}},
               {8000, std::vector<float>(4096), 0, {}, 0, {0, 0, 0, 0, 0, 0}}};
  for (const auto& [sampleRate, frame, first, powers, mean, bandPowers] : cases) {
    SCOPED_TRACE(mean);
    const SpectralSummary summary = spectralSummary(frame, sampleRate);
    EXPECT_NEAR(summary.centroid, mean * sampleRate / 4096, 1e-3);
    const double total = std::accumulate(bandPowers.begin(), bandPowers.end(), 0.0);
    EXPECT_EQ(summary.bands.size(), names.size());
    for (std::size_t band = 0; band < names.size(); ++band) {
      const double percent = bandPowers[band] / std::max(total, 1.0) * 100;
      EXPECT_NEAR(summary.bands.at(names[band]), percent, 1e-4) << band;
    }
    Numbers row(48);
    for (std::size_t i = 0; i < powers.size(); ++i) {
      const double frequency = static_cast<double>(first + i) * sampleRate / 4096;
      const double highest = std::min(sampleRate / 2, 20000.0);
      const double column = std::log(frequency / 20) / std::log(highest / 20) * 48;
      row[std::min<std::size_t>(static_cast<std::size_t>(column), 47)] += powers[i];
    }
    const double loudest = *std::max_element(row.begin(), row.end());
    ASSERT_EQ(summary.spectrogram.size(), 1U);
    for (std::size_t column = 0; column < 48; ++column) {
      const double level = row[column] > 0 ? std::log10(row[column] / loudest) / 6 + 1 : 0;
      EXPECT_NEAR(summary.spectrogram[0][column], level, 1e-4) << column;
    }
  }
}

TEST(StereoSummary, ComparesTheFirstTwoChannelsHoweverQuietTheyAre) {
  const std::vector<float> slow = tones({1}, 0.5, 1001, 1001);
  const std::vector<float> both = tones({1, 2}, 0.5, 1001, 1001);
  const std::vector<float> quiet = byTurns(0.25F / 1024, 0.75F / 1024);
  const std::vector<float> infinite(quiet.size(), kInfinity);
  const std::vector<std::tuple<Signal, double, double, double>> cases = {
      {{slow, std::vector<float>(1001, 0.25F)}, 1, 100, 1e-6},
      {{slow, slow, both}, 1, 0, 1e-12},
      // In the middle the first tone is twice as loud; on the sides the second is alone.
      {{slow, both}, std::sqrt(0.5), 100 / std::sqrt(5), 1e-6},
      // The middle is 0.5 and the sides, fully out of phase, are 0.25.
      {{byTurns(0.25F, 0.75F), byTurns(0.75F, 0.25F)}, -1, 50, 1e-12},
      {{quiet, byTurns(-0.125F / 1024, -0.375F / 1024)}, -1, 300, 1e-9},
      {{quiet, byTurns(-0.1484375F / 1024, -0.4453125F / 1024)}, -1, 100 * 51.0 / 13, 1e-9},
      {{quiet, byTurns(-0.15625F / 1024, -0.46875F / 1024)}, -1, 400, 1e-9},
      {{quiet, byTurns(-0.25F / 1024, -0.75F / 1024)}, -1, 0, 1e-9},
      {{quiet, byTurns(0, 0)}, 1, 100, 1e-9},
      {{quiet, infinite}, 1, 0, 0},
      {{infinite, quiet}, 1, 0, 0}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& [channels, correlation, width, tolerance] = cases[i];
    const StereoSummary summary = resultOf(StereoMeter(channels.size()), channels);
    EXPECT_NEAR(summary.correlation.value(), correlation, tolerance) << i;
    EXPECT_NEAR(summary.width.value(), width, tolerance) << i;
  }
  EXPECT_FALSE(resultOf(StereoMeter(1), {slow}).correlation);
}

TEST(Waveform, TakesThePeakOfEachBucketAndLeavesOutTheRemainder) {
  const std::vector<std::pair<std::vector<float>, std::vector<double>>> cases = {
      {{}, {}},
      {{1}, {1, 0, 0, 0}},
      {{1, 2, 3}, {1, 2, 3, 0}},
      {{1, 2, 3, 4, 5, 6, 7}, {1, 2, 3, 4}},
      {{1, 2, 3, 4, 5, 6, 7, 8}, {2, 4, 6, 8}},
      {{0, -0.5F, 0.25F, kInfinity, std::nanf(""), -0.125F, 1.5F, 1, 9}, {0.5, 0.25, 0.125, 1.5}}};
  for (const auto& [samples, peaks] : cases) {
    EXPECT_EQ(waveform(samples, 4), peaks) << samples.size();
  }
}

}  // namespace
}  // namespace brindlevane::LocalAudioAnalyzer
