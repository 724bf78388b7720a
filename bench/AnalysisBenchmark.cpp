// The parts of a measurement, each on 90 s of stereo at 44.1 kHz (the key on its 75 s).

#include "audio/Chroma.h"
#include "audio/Levels.h"
#include "audio/SpectralSummary.h"
#include "audio/StereoSummary.h"
#include "audio/Waveform.h"
#include "key/KeyProfiles.h"
#include "platform/sound/Fft.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <span>
#include <vector>

namespace brindlevane {
namespace {

constexpr double kSampleRate = 44100;
constexpr std::size_t kFrames = std::size_t{44100} * 90;
constexpr std::size_t kKeyFrames = std::size_t{44100} * 75;

std::vector<float> noise(unsigned seed) {
  std::mt19937 bits(seed);
  std::vector<float> samples(kFrames);
  std::generate(samples.begin(), samples.end(), [&bits] {
    return static_cast<float>(static_cast<double>(bits()) / 4294967296.0 - 0.5);
  });
  return samples;
}

const std::vector<float>& left() {
  static const std::vector<float> kSamples = noise(1);
  return kSamples;
}

const std::vector<float>& right() {
  static const std::vector<float> kSamples = noise(2);
  return kSamples;
}

void levels(benchmark::State& state) {
  LocalAudioAnalyzer::LevelMeter meter;
  while (state.KeepRunning()) {
    meter.add(left());
    meter.add(right());
    benchmark::DoNotOptimize(meter);
  }
}

void stereo(benchmark::State& state) {
  LocalAudioAnalyzer::StereoMeter meter(2);
  while (state.KeepRunning()) {
    meter.add(left());
    meter.add(right());
    benchmark::DoNotOptimize(meter);
  }
}

void shortTermRMS(benchmark::State& state) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(LocalAudioAnalyzer::shortTermRMS(left(), kSampleRate));
  }
}

void spectralSummary(benchmark::State& state) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(LocalAudioAnalyzer::spectralSummary(left(), kSampleRate));
  }
}

void waveform(benchmark::State& state) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(LocalAudioAnalyzer::waveform(left(), 120));
  }
}

void audioChroma(benchmark::State& state) {
  const std::span<const float> samples = std::span(left()).first(kKeyFrames);
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(MusicalKeyAnalyzer::audioChroma(samples, kSampleRate));
  }
}

void detect(benchmark::State& state) {
  const Chroma chroma = {6, 2, 3, 2, 4, 4, 3, 5, 2, 4, 2, 3};
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(MusicalKeyAnalyzer::detect(chroma));
  }
}

void transform(benchmark::State& state) {
  const auto length = static_cast<std::size_t>(state.range(0));
  Fft fft(length);
  std::copy_n(left().begin(), length, fft.samples().begin());
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(fft.transform());
  }
}

BENCHMARK(levels)->Unit(benchmark::kMillisecond);
BENCHMARK(stereo)->Unit(benchmark::kMillisecond);
BENCHMARK(shortTermRMS)->Unit(benchmark::kMillisecond);
BENCHMARK(spectralSummary)->Unit(benchmark::kMillisecond);
BENCHMARK(waveform)->Unit(benchmark::kMillisecond);
BENCHMARK(audioChroma)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(detect)->Unit(benchmark::kMicrosecond);
BENCHMARK(transform)->Arg(4096)->Arg(8192)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace brindlevane
