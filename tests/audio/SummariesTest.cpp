#include "audio/Levels.h"
#include "audio/SignalMath.h"
#include "audio/SpectralSummary.h"
#include "audio/StereoSummary.h"
#include "audio/Waveform.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <map>
#include <numbers>

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
  double sum = 0;
  double squares = 0;
  for (const double sample : samples) {
    sum += sample;
    squares += sample * sample;
  }
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

TEST(SpectralSummary, OfSilenceIsAllZero) {
  const SpectralSummary summary = spectralSummary(std::vector<float>(4096), 44100);
  EXPECT_EQ(summary.centroid, 0);
  for (const auto& [band, percent] : summary.bands) {
    EXPECT_EQ(percent, 0) << band;
  }
  EXPECT_EQ(summary.spectrogram, (std::vector<std::vector<double>>{std::vector<double>(48)}));
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

// One frame by the definition: the sum of the transform, then bands, columns and centroid.
SpectralSummary directSummary(const std::vector<float>& frame, double sampleRate) {
  static const std::map<double, std::string> kBands = {
      {60, "sub_20_60"},      {120, "bass_60_120"},         {400, "lowMid_120_400"},
      {2000, "mid_400_2000"}, {6000, "presence_2000_6000"}, {20000, "air_6000_20000"}};
  const double highest = std::min(sampleRate / 2, 20000.0);
  SpectralSummary summary;
  std::vector<double> row(48);
  double weighted = 0;
  double magnitudes = 0;
  double total = 0;
  for (std::size_t k = 1; k < 2048; ++k) {
    const double frequency = static_cast<double>(k) * sampleRate / 4096;
    if (frequency < 20 || frequency > highest) {
      continue;
    }
    std::complex<double> bin;
    for (std::size_t j = 0; j < 4096; ++j) {
      const double turn = 2 * std::numbers::pi / 4096;
      const double window = 1 - std::cos(turn * static_cast<double>(j));
      bin += window * frame[j] * std::polar(1.0, -turn * static_cast<double>(k * j % 4096));
    }
    const double power = std::norm(bin);
    if (const auto band = kBands.upper_bound(frequency); band != kBands.end()) {
      summary.bands[band->second] += power;
      total += power;
    }
    const double column = std::log(frequency / 20) / std::log(highest / 20) * 48;
    row[std::min<std::size_t>(static_cast<std::size_t>(column), 47)] += power;
    weighted += frequency * std::sqrt(power);
    magnitudes += std::sqrt(power);
  }
  for (const auto& [upper, band] : kBands) {
    summary.bands[band] *= 100 / total;
  }
  const double loudest = *std::max_element(row.begin(), row.end());
  for (double& cell : row) {
    cell = cell > 0 ? std::clamp(std::log10(cell / loudest) / 6 + 1, 0.0, 1.0) : 0;
  }
  summary.centroid = weighted / magnitudes;
  summary.spectrogram = {row};
  return summary;
}

TEST(SpectralSummary, AgreesWithTheSumOfTheTransform) {
  // At 81,920 Hz the bounds of the bands are frequencies of the transform; one sound is very quiet.
  for (const auto& [sampleRate, noiseLevel, toneLevel] : std::vector<std::array<double, 3>>{
           {44100, 0.1, 0.4}, {22050, 1e-8, 4e-8}, {8000, 0.1, 0.4}, {81920, 0.1, 0}}) {
    SCOPED_TRACE(sampleRate);
    std::vector<float> frame = noise(5, noiseLevel, 4096);
    const std::vector<float> tone = tones({3000}, toneLevel, 4096, sampleRate);
    std::transform(frame.begin(), frame.end(), tone.begin(), frame.begin(), std::plus<>());
    const SpectralSummary expected = directSummary(frame, sampleRate);
    const SpectralSummary summary = spectralSummary(frame, sampleRate);
    EXPECT_NEAR(summary.centroid, expected.centroid, 1e-3);
    EXPECT_EQ(summary.bands.size(), expected.bands.size());
    for (const auto& [band, percent] : expected.bands) {
      EXPECT_NEAR(summary.bands.at(band), percent, 1e-4) << band;
    }
    ASSERT_EQ(summary.spectrogram.size(), 1U);
    for (std::size_t column = 0; column < 48; ++column) {
      EXPECT_NEAR(summary.spectrogram[0][column], expected.spectrogram[0][column], 1e-4) << column;
    }
  }
}

TEST(StereoSummary, ComparesTheFirstTwoChannelsHoweverQuietTheyAre) {
  const std::vector<float> a = noise(1, 0.5, 20000);
  const std::vector<float> b = noise(2, 0.5, 20000);
  std::vector<float> ramp(a.size());
  std::vector<float> squares(a.size());
  for (std::size_t i = 0; i < ramp.size(); ++i) {
    ramp[i] = (static_cast<float>(i) + 0.5F) / static_cast<float>(ramp.size());
    squares[i] = ramp[i] * ramp[i];
  }
  const std::vector<float> quiet = byTurns(0.25F / 1024, 0.75F / 1024);
  const std::vector<float> infinite(quiet.size(), kInfinity);
  const std::vector<std::tuple<Signal, double, double, double>> cases = {
      {{a, std::vector<float>(a.size(), 0.25F)}, 1, 100, 2},
      {{a, b}, 0, 100, 2},
      {{a, a, b}, 1, 0, 1e-12},
      {{ramp, squares}, std::sqrt(15) / 4, 100 / std::sqrt(31), 1e-6},
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
    EXPECT_NEAR(summary.correlation.value(), correlation, std::min(tolerance, 0.02)) << i;
    EXPECT_NEAR(summary.width.value(), width, tolerance) << i;
  }
  EXPECT_FALSE(resultOf(StereoMeter(1), {a}).correlation);
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
