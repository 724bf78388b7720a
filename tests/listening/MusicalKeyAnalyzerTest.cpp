#include "audio/Chroma.h"
#include "listener/Hearing.h"
#include "listening/MusicalKeyAnalyzer.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

namespace brindlevane::MusicalKeyAnalyzer {
namespace {

using testing::noise;
using testing::refusalOf;
using testing::tones;

constexpr Chroma kMajor = {6.35, 2.23, 3.48, 2.33, 4.38, 4.09, 2.52, 5.19, 2.39, 3.66, 2.29, 2.88};
constexpr Chroma kMinor = {6.33, 2.68, 3.52, 5.38, 2.60, 3.53, 2.54, 4.75, 3.98, 2.69, 3.34, 3.17};
const std::vector<std::string> kNames = {"C", "C\u266f", "D", "D\u266f", "E", "F", "F\u266f",
                                         "G", "G\u266f", "A", "A\u266f", "B"};
const std::string kInsufficient =
    "Le clip ne contient pas assez de signal tonal pour d\u00e9terminer une key.";

/// The correlation of two profiles by the textbook.
double pearson(const Chroma& x, const Chroma& y) {
  const auto covariance = [](const Chroma& a, const Chroma& b) {
    return 12 * std::inner_product(a.begin(), a.end(), b.begin(), 0.0) -
           std::accumulate(a.begin(), a.end(), 0.0) * std::accumulate(b.begin(), b.end(), 0.0);
  };
  return covariance(x, y) / std::sqrt(covariance(x, x) * covariance(y, y));
}

// Profiles at random of every key, some like none, some like one alone.
TEST(Detect, MeasuresConfidenceByFitAndLead) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    const std::vector<float> weights = noise(seed, 1.0 / (1 + seed % 5), 12);
    Chroma chroma = seed % 2 == 0 ? kMajor : kMinor;
    for (std::size_t i = 0; i < 12; ++i) {
      chroma[i] = seed < 100 ? weights[i] + 1 : chroma[i] + 5 * static_cast<double>(weights[i]);
      chroma[i] *= std::pow(10, -static_cast<double>(seed % 7) / 2);
    }
    std::vector<std::pair<double, std::string>> ranking;
    for (std::size_t root = 0; root < 12; ++root) {
      for (const auto& [profile, mode] :
           {std::pair(kMajor, " major"), std::pair(kMinor, " minor")}) {
        Chroma rotated = {};
        std::rotate_copy(profile.begin(), profile.end() - root, profile.end(), rotated.begin());
        ranking.emplace_back(pearson(chroma, rotated), kNames[root] + mode);
        EXPECT_NEAR(correlation(chroma, profile, root), ranking.back().first, 1e-9);
      }
    }
    std::sort(ranking.rbegin(), ranking.rend());
    const double best = ranking[0].first;
    const double confidence =
        0.43 + 2.2 * (best - ranking[1].first) + 0.45 * std::max(best - 0.45, 0.0);
    const KeyDetection detection = detect(chroma, 0, seed);
    EXPECT_EQ(detection.key, ranking[0].second);
    EXPECT_NEAR(detection.confidence, std::min(confidence, 0.96), 1e-9);
    EXPECT_EQ(detection.analyzedSeconds, seed);
  }
}

TEST(Detect, PrefersTheLowerRootOfEqualScores) {
  // Notes that divide the octave evenly look the same from each of them.
  const std::vector<std::pair<Chroma, std::string>> cases = {
      {{0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}, "C\u266f major"},
      {{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1}, "D\u266f major"},
      {{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1}, "D minor"},
      {{1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0}, "C major"}};
  for (const auto& [chroma, key] : cases) {
    EXPECT_EQ(detect(chroma).key, key);
    EXPECT_NEAR(detect(chroma).confidence, 0.43, 1e-9);
  }
}

TEST(Detect, TransposesByRoundedSemitones) {
  const std::vector<std::pair<double, std::string>> cases = {
      {0, "C"},         {2, "D"},     {-1, "B"},           {2.5, "D\u266f"},
      {-2.5, "A"},      {2.49, "D"},  {12, "C"},           {-25, "B"},
      {0.5, "C\u266f"}, {1e18, "E"},  {std::nan(""), "C"}, {-1.0 / 0.0, "C"},
      {-0.5, "B"},      {-0.49, "C"}, {11.5, "C"},         {-12, "C"}};
  for (const auto& [semitones, note] : cases) {
    EXPECT_EQ(detect(kMajor, semitones).key, note + " major") << semitones;
  }
}

TEST(Detect, RefusesProfilesWithoutACentre) {
  const std::vector<std::vector<double>> profiles = {
      std::vector<double>(11, 1),
      {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
      std::vector<double>(12, 0),
      std::vector<double>(12, 3),
      {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -1},
      {1e308, 1e308, 1e308, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
  for (const std::vector<double>& profile : profiles) {
    EXPECT_EQ(refusalOf([&] { return detect(profile); }), kInsufficient) << profile.size();
  }
  // A lone deviation of d has a root of squares of d * sqrt(11 / 12).
  std::vector<double> lone(12, 1);
  lone[3] = 1 + 1.0443e-6;
  EXPECT_EQ(refusalOf([&] { return detect(lone); }), kInsufficient);
  lone[3] = 1 + 1.0447e-6;
  EXPECT_EQ(refusalOf([&] { return detect(lone); }), "");
}

TEST(Correlation, OfAFlatProfileIsTheWorst) {
  Chroma flat = {};
  flat.fill(2);
  EXPECT_EQ(correlation(flat, kMajor, 0), -1);
  EXPECT_EQ(correlation(kMajor, flat, 0), -1);
}

// By the definition: each frame transformed by the sum, each bin's logarithm by itself.
Chroma directChroma(const std::vector<float>& samples, double sampleRate) {
  std::vector<std::complex<double>> turns;
  for (int j = 0; j < 8192; ++j) {
    turns.push_back(std::polar(1.0, -2 * std::numbers::pi * j / 8192));
  }
  Chroma chroma = {};
  for (std::size_t start = 0; start + 8192 <= samples.size(); start += 4096) {
    for (std::size_t k = 1; k < 4096; ++k) {
      const double frequency = static_cast<double>(k) * sampleRate / 8192;
      if (frequency < 45 || frequency > 5000) {
        continue;
      }
      std::complex<double> bin;
      for (std::size_t j = 0; j < 8192; ++j) {
        const double window = 0.8165 * (1 - turns[j].real());
        bin += window * samples[start + j] * turns[k * j % 8192];
      }
      const double note = std::round(12 * std::log2(frequency / 440) + 69);
      chroma[static_cast<std::size_t>(note) % 12] +=
          std::log(1 + std::abs(bin)) / std::sqrt(frequency);
    }
  }
  return chroma;
}

TEST(AudioChroma, AgreesWithTheSumOfTheTransform) {
  // At 40,960 Hz the bounds of the range are frequencies of the transform, at 40,964 it ends just
  // below one.
  for (const double sampleRate : {40960.0, 40964.0, 192000.0}) {
    SCOPED_TRACE(sampleRate);
    std::vector<float> samples = noise(6, 0.01, 16384);
    const std::vector<float> chord = tones({196, 247, 294}, 0.2, samples.size(), sampleRate);
    std::transform(samples.begin(), samples.end(), chord.begin(), samples.begin(), std::plus<>());
    const Chroma expected = directChroma(samples, sampleRate);
    const Chroma chroma = audioChroma(samples, sampleRate);
    for (std::size_t i = 0; i < 12; ++i) {
      EXPECT_NEAR(chroma[i] / expected[i], 1, 2e-5) << i;
    }
  }
}

TEST(AudioChroma, CountsEachFrameOnce) {
  // Of a sound that repeats itself every hop all frames are alike: 3 of them, and 17.
  const std::vector<float> hop = noise(9, 0.1, 4096);
  std::vector<float> samples;
  for (int i = 0; i < 18; ++i) {
    samples.insert(samples.end(), hop.begin(), hop.end());
  }
  const Chroma three = audioChroma(std::span(samples).first(16384), 44100);
  const Chroma all = audioChroma(samples, 44100);
  for (std::size_t i = 0; i < 12; ++i) {
    EXPECT_NEAR(all[i] / three[i], 17.0 / 3, 1e-9) << i;
  }
}

TEST(AudioChroma, NeedsThreeFramesThatSound) {
  const auto refusal = [](std::span<const float> samples, double sampleRate = 44100) {
    return refusalOf([&] { return audioChroma(samples, sampleRate); });
  };
  const std::vector<float> tone = tones({440}, 0.5, 16384);
  EXPECT_EQ(refusal(tone), "");
  EXPECT_EQ(refusal(tones({440}, 0.5, 4096 * 31)), "");
  EXPECT_EQ(refusal(std::span(tone).first(16383)), kInsufficient);
  EXPECT_EQ(refusal({}), kInsufficient);
  // The mean square of this number is 5e-7 in single precision, that of the one below it is less.
  const float quietest = 0.0007071067812F;
  EXPECT_EQ(refusal(std::vector<float>(16384, quietest)), "");
  EXPECT_EQ(refusal(std::vector<float>(16384, std::nextafter(quietest, 0.0F))), kInsufficient);
  std::vector<float> half = tone;
  std::fill(half.begin() + 8192, half.end(), 0.0F);
  EXPECT_EQ(refusal(half), kInsufficient);
  half[8192] = 1;
  EXPECT_EQ(refusal(half), "");
  half.back() = std::nanf("");
  EXPECT_EQ(refusal(half), "");
  EXPECT_EQ(refusal(std::vector<float>(16384, std::nanf(""))), kInsufficient);
  // No bin of so high a rate lies below 5 kHz.
  EXPECT_EQ(refusal(tone, 2e9), kInsufficient);
}

TEST(ChromaMeter, GivesTheSameBitsHoweverTheSignalComesIn) {
  const std::vector<float> samples = noise(8, 0.1, 4096 * 300 + 1);
  const Chroma atOnce = audioChroma(samples, 44100);
  for (const std::size_t step : {4095U, 300000U}) {
    ChromaMeter meter(44100, samples.size());
    for (std::size_t end = step; end < samples.size(); end += step) {
      meter.follow(std::span(samples).first(end));
    }
    EXPECT_EQ(meter.result(samples), atOnce) << step;
  }
}

TEST(AnalyzeAudio, FindsTheKeyOfTheFramesItIsAskedToHear) {
  const TemporaryFolder directory;
  const std::string path = directory.file("a.wav");
  // F sharp minor, and from 80 s on B flat major.
  const std::vector<float> samples =
      testing::joined(tones({92.5, 277.18, 369.99, 440}, 0.1, 8000 * 80, 8000),
                      tones({116.54, 349.23, 466.16, 587.33}, 0.1, 8000 * 20, 8000));
  testing::writeWav(path, {samples, samples}, 8000);
  const std::vector<std::tuple<double, double, std::optional<double>, std::string, double>> cases =
      {{0, 0, std::nullopt, "F\u266f minor", 75},
       {0, 0, 74.999875, "F\u266f minor", 74.999875},
       {2, 10, 60, "G\u266f minor", 60},
       {-3, 90, 4.00013, "G major", 4.000125},
       {0, 97.9521, 3, "A\u266f major", 2.048}};
  // The listener of these tests works in this process.
  for (const auto& [semitones, start, duration, key, seconds] : cases) {
    const KeyDetection detection = analyzeAudio(path, semitones, start, duration, heard);
    EXPECT_EQ(detection.key, key) << start;
    EXPECT_EQ(detection.analyzedSeconds, seconds) << start;
  }
  for (const double tooShort : {-1.0, 0.512, 2.0479}) {
    EXPECT_EQ(refusalOf([&] { return analyzeAudio(path, 0, 0, tooShort, heard); }), kInsufficient);
  }
}

}  // namespace
}  // namespace brindlevane::MusicalKeyAnalyzer
