#include "audio/Levels.h"
#include "audio/SpectralSummary.h"
#include "audio/StereoSummary.h"
#include "audio/Waveform.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

using testing::noise;
using testing::tones;

// Added in two parts, as by a decoder.
ChannelSums channelSums(const Channels& channels) {
  Channels head;
  Channels tail;
  for (const std::span<const float> channel : channels) {
    head.push_back(channel.first(channel.size() / 3));
    tail.push_back(channel.subspan(channel.size() / 3));
  }
  ChannelSummer summer;
  summer.add(head);
  summer.add(tail);
  return summer.finish(channels);
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(Levels, OfASquareWaveAreAllFullScale) {
  std::vector<float> square(5000, 1);
  for (std::size_t i = 0; i < square.size(); i += 2) {
    square[i] = -1;
  }
  const Levels result = levels(channelSums({square, square}));
  EXPECT_EQ(result.peak, 1);
  EXPECT_EQ(result.rms, 1);
  EXPECT_EQ(result.dcOffset, 0);
  EXPECT_EQ(result.clippedPercent, 100);
}

TEST(Levels, SumChannelAfterChannelInDoublePrecision) {
  const std::vector<float> left = noise(1, 1.2, 10007);
  const std::vector<float> right = noise(2, 1e-3, 10007);
  const std::vector<float> third = noise(3, 1e-3, 10007);
  double sum = 0;
  double squares = 0;
  for (const std::vector<float>* channel : {&left, &right, &third}) {
    for (const double sample : *channel) {
      sum += sample;
      squares += sample * sample;
    }
  }
  const Levels result = levels(channelSums({left, right, third}));
  EXPECT_EQ(result.dcOffset, sum / 30021);
  EXPECT_EQ(result.rms, std::sqrt(squares / 30021));
}

TEST(Levels, ClippingBeginsAt0999InSinglePrecision) {
  const std::vector<float> samples = {0.999F, -0.999F, 0.998F, std::nextafter(0.999F, 0.0F)};
  EXPECT_EQ(levels(channelSums({samples})).clippedPercent, 50);
}

TEST(Levels, LeaveOutSamplesThatAreNotFinite) {
  std::vector<float> samples(3000, 0.5F);
  samples[10] = kInfinity;
  samples[11] = -kInfinity;
  samples[2999] = std::nanf("");
  const Levels result = levels(channelSums({samples}));
  EXPECT_EQ(result.peak, 0.5F);
  EXPECT_EQ(result.rms, 0.5);
  EXPECT_EQ(result.dcOffset, 0.5);
  EXPECT_EQ(levels(channelSums({std::vector<float>(4, kInfinity)})).rms, 0);
  const std::vector<float> clipped = {kInfinity, 1, 0, -kInfinity, 0, std::nanf(""), 0};
  EXPECT_EQ(levels(channelSums({clipped})).clippedPercent, 25);
}

TEST(ShortTermRMS, CutsWindowsOfFourTenthsOfASecondAndSkipsQuietOnes) {
  std::vector<float> mono(17640 * 3 + 17639, 0.25F);
  std::fill(mono.begin() + 17640, mono.begin() + 2 * 17640, 1e-5F);
  EXPECT_EQ(shortTermRMS(mono, 44100), (std::vector<double>{0.25, 0.25}));
  EXPECT_TRUE(shortTermRMS(std::vector<float>(17639, 1), 44100).empty());
  EXPECT_EQ(shortTermRMS(std::vector<float>(1024, 1), 8), (std::vector<double>{1, 1}));
}

TEST(PercentileDb, TakesTwoRanksWithoutInterpolation) {
  const std::vector<double> decades = {1e-3, 1, 1e-4, 0.1, 0.01};
  const double nan = std::nan("");
  struct Case {
    std::vector<double> amplitudes;
    double high, low, range;
  };
  const std::vector<Case> cases = {{decades, 0.75, 0, 60},
                                   {decades, 0.749, 0.25, 20},
                                   {decades, 1, 0.5, 40},
                                   {decades, 0.2, 0.95, 0},
                                   {decades, 1, 0, 60},
                                   {{1, 0.1, kInfinity, 0, nan, -1}, 1, 0, 20},
                                   {{1, kInfinity, 0, nan}, 1, 0, 0},
                                   {{1e-9, 1e-6, 1e-5}, 1, 0, 20}};
  for (const Case& one : cases) {
    EXPECT_NEAR(percentileDb(one.amplitudes, one.high, one.low), one.range, 1e-9)
        << one.high << " " << one.low;
  }
}

TEST(SpectralSummary, PutsASineIntoItsBandAndCentroid) {
  const std::vector<std::pair<double, std::string>> cases = {
      {40, "sub_20_60"},      {90, "bass_60_120"},          {250, "lowMid_120_400"},
      {1000, "mid_400_2000"}, {3500, "presence_2000_6000"}, {12000, "air_6000_20000"}};
  for (const auto& [frequency, band] : cases) {
    SCOPED_TRACE(band);
    const SpectralSummary summary = spectralSummary(tones({frequency}, 0.5, 44100), 44100);
    ASSERT_EQ(summary.bands.size(), 6U);
    EXPECT_GT(summary.bands.at(band), 98);
    EXPECT_NEAR(summary.centroid, frequency, 0.02 * frequency + 4);
  }
}

TEST(SpectralSummary, HasAsManyRowsAsFramesFit) {
  const std::vector<std::pair<std::size_t, std::size_t>> cases = {{4095, 0},
                                                                  {4096, 1},
                                                                  {6143, 1},
                                                                  {6144, 2},
                                                                  {4096 + 147455, 72},
                                                                  {4096 + 147456, 73},
                                                                  {4096 + 147456 + 71, 73},
                                                                  {500000, 73}};
  for (const auto& [count, rows] : cases) {
    SCOPED_TRACE(count);
    const SpectralSummary summary = spectralSummary(noise(3, 0.5, count), 44100);
    EXPECT_EQ(summary.spectrogram.size(), rows);
    EXPECT_EQ(summary.bands.size(), rows > 0 ? 6U : 0U);
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

// One frame by the definition: the sum of the transform, then bands, columns and centroid.
SpectralSummary directSummary(const std::vector<float>& frame, double sampleRate) {
  const std::vector<std::pair<std::string, double>> bands = {
      {"sub_20_60", 60},      {"bass_60_120", 120},         {"lowMid_120_400", 400},
      {"mid_400_2000", 2000}, {"presence_2000_6000", 6000}, {"air_6000_20000", 20000}};
  const double highest = std::min(sampleRate / 2, 20000.0);
  SpectralSummary summary;
  std::vector<double> row(48);
  double weighted = 0;
  double magnitudes = 0;
  for (std::size_t k = 1; k < 2048; ++k) {
    const double frequency = static_cast<double>(k) * sampleRate / 4096;
    if (frequency < 20 || frequency > highest) {
      continue;
    }
    std::complex<double> bin;
    for (std::size_t j = 0; j < 4096; ++j) {
      const double turn = 2 * std::numbers::pi / 4096;
      const double window = 1 - std::cos(turn * static_cast<double>(j));
      bin += std::polar(window * frame[j], -turn * static_cast<double>(k * j % 4096));
    }
    const double power = std::norm(bin);
    for (const auto& [band, upper] : bands) {
      if (frequency < upper) {
        summary.bands[band] += power;
        break;
      }
    }
    const double column = std::log(frequency / 20) / std::log(highest / 20) * 48;
    row[std::min<std::size_t>(static_cast<std::size_t>(column), 47)] += power;
    weighted += frequency * std::sqrt(power);
    magnitudes += std::sqrt(power);
  }
  double total = 0;
  for (const auto& [band, power] : summary.bands) {
    total += power;
  }
  for (auto& [band, power] : summary.bands) {
    power *= 100 / total;
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
  for (const double sampleRate : {44100.0, 22050.0, 8000.0, 96000.0}) {
    SCOPED_TRACE(sampleRate);
    std::vector<float> frame = noise(5, 0.1, 4096);
    const std::vector<float> chord = tones({110, 3000}, 0.4, 4096, sampleRate);
    std::transform(frame.begin(), frame.end(), chord.begin(), frame.begin(), std::plus<>());
    const SpectralSummary expected = directSummary(frame, sampleRate);
    const SpectralSummary summary = spectralSummary(frame, sampleRate);
    EXPECT_NEAR(summary.centroid, expected.centroid, 1e-3);
    for (const auto& [band, percent] : summary.bands) {
      const auto direct = expected.bands.find(band);
      EXPECT_NEAR(percent, direct == expected.bands.end() ? 0 : direct->second, 1e-4) << band;
    }
    ASSERT_EQ(summary.spectrogram.size(), 1U);
    for (std::size_t column = 0; column < 48; ++column) {
      EXPECT_NEAR(summary.spectrogram[0][column], expected.spectrogram[0][column], 1e-4) << column;
    }
    EXPECT_EQ(*std::max_element(summary.spectrogram[0].begin(), summary.spectrogram[0].end()), 1);
  }
}

TEST(StereoSummary, KnowsTheExtremes) {
  const std::vector<float> a = noise(1, 0.5, 20000);
  const std::vector<float> b = noise(2, 0.5, 20000);
  std::vector<float> inverted(a.size());
  std::transform(a.begin(), a.end(), inverted.begin(), std::negate<>());
  const std::vector<float> constant(a.size(), 0.25F);
  struct Case {
    const char* name;
    Channels channels;
    double correlation, width, tolerance;
  };
  const std::vector<Case> cases = {{"same", {a, a}, 1, 0, 1e-12},
                                   {"inverted", {a, inverted}, -1, 0, 1e-12},
                                   {"constant", {a, constant}, 1, 100, 2},
                                   {"independent", {a, b}, 0, 100, 2},
                                   {"third channel ignored", {a, a, b}, 1, 0, 1e-12}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    const StereoSummary summary = stereoSummary(channelSums(one.channels));
    EXPECT_NEAR(summary.correlation.value(), one.correlation, std::min(one.tolerance, 0.02));
    EXPECT_NEAR(summary.width.value(), one.width, one.tolerance);
  }
  EXPECT_FALSE(stereoSummary(channelSums({a})).correlation);
  EXPECT_FALSE(stereoSummary(channelSums({a, std::span(b).first(100)})).width);
}

TEST(StereoSummary, TakesMidAndSideOfTheRawSamples) {
  // L = 0.5 + x, R = 0.5 - x with x = +-0.25: mid 0.5, side 0.25, and x is fully out of phase.
  std::vector<float> left(1000, 0.75F);
  std::vector<float> right(1000, 0.25F);
  for (std::size_t i = 0; i < left.size(); i += 2) {
    std::swap(left[i], right[i]);
  }
  const StereoSummary summary = stereoSummary(channelSums({left, right}));
  EXPECT_EQ(summary.correlation, -1);
  EXPECT_EQ(summary.width, 50);
  std::fill(right.begin(), right.end(), kInfinity);
  EXPECT_EQ(stereoSummary(channelSums({left, right})).correlation, 1);
  EXPECT_EQ(stereoSummary(channelSums({left, right})).width, 0);
}

TEST(Waveform, TakesThePeakOfEachBucket) {
  std::vector<float> samples(1000);
  samples[7] = -0.5F;
  samples[8] = 0.25F;
  samples[959] = 1.5F;
  samples[960] = 9;  // in the remainder
  samples[17] = kInfinity;
  const std::vector<double> points = waveform(samples, 120);
  ASSERT_EQ(points.size(), 120U);
  EXPECT_EQ(points[0], 0.5);
  EXPECT_EQ(points[1], 0.25);
  EXPECT_EQ(points[2], 0);
  EXPECT_EQ(points[119], 1.5);
  const std::vector<double> few = waveform(std::vector<float>(50, 0.5F), 120);
  EXPECT_EQ(std::count(few.begin(), few.begin() + 50, 0.5), 50);
  EXPECT_EQ(std::count(few.begin() + 50, few.end(), 0.0), 70);
  EXPECT_TRUE(waveform(std::vector<float>(), 120).empty());
}

}  // namespace
}  // namespace brindlevane::LocalAudioAnalyzer
