#include "audio/SpectralSummary.h"

#include "audio/SignalMath.h"
#include "platform/sound/Fft.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numeric>
#include <string_view>

namespace brindlevane::LocalAudioAnalyzer {
namespace {

constexpr std::size_t kFrameSize = 4096;
constexpr std::size_t kShortestHop = 2048;
constexpr std::size_t kMostHops = 72;
constexpr double kLowestFrequency = 20;
constexpr double kHighestFrequency = 20000;
constexpr std::size_t kColumns = 48;
constexpr double kRangeDb = 60;

struct Band {
  std::string_view key;
  double upperFrequency;  // Hz, itself outside
};

constexpr std::array kBands = std::to_array<Band>({{"sub_20_60", 60},
                                                   {"bass_60_120", 120},
                                                   {"lowMid_120_400", 400},
                                                   {"mid_400_2000", 2000},
                                                   {"presence_2000_6000", 6000},
                                                   {"air_6000_20000", 20000}});

struct Bin {
  std::size_t index;
  double frequency;
  std::size_t band;  // kBands.size(): none
  std::size_t column;
};

std::size_t bandOf(double frequency) {
  const auto* const band = std::find_if(kBands.begin(), kBands.end(), [=](const Band& candidate) {
    return frequency < candidate.upperFrequency;
  });
  return static_cast<std::size_t>(band - kBands.begin());
}

std::vector<Bin> usedBins(double sampleRate) {
  const double highest = std::min(sampleRate * 0.5, kHighestFrequency);
  std::vector<Bin> bins;
  for (std::size_t index = 1; index < kFrameSize / 2; ++index) {
    const double frequency = static_cast<double>(index) * sampleRate / kFrameSize;
    if (frequency < kLowestFrequency || frequency > highest) {
      continue;
    }
    const double position =
        std::log(frequency / kLowestFrequency) / std::log(highest / kLowestFrequency) * kColumns;
    bins.push_back({index, frequency, bandOf(frequency),
                    std::min(static_cast<std::size_t>(position), kColumns - 1)});
  }
  return bins;
}

class SpectralSums {
 public:
  explicit SpectralSums(double sampleRate) : bins_(usedBins(sampleRate)) {}

  void add(std::span<const std::complex<float>> spectrum) {
    std::vector<double>& row = rows_.emplace_back(kColumns);
    for (const Bin& bin : bins_) {
      const double real = spectrum[bin.index].real();
      const double imaginary = spectrum[bin.index].imag();
      const double power = real * real + imaginary * imaginary;
      if (!std::isfinite(power)) {
        continue;
      }
      bandPower_[bin.band] += power;
      row[bin.column] += power;
      const double magnitude = std::sqrt(power);
      weightedSum_ += bin.frequency * magnitude;
      magnitudeSum_ += magnitude;
    }
  }

  [[nodiscard]] SpectralSummary result() && {
    SpectralSummary summary;
    summary.centroid = magnitudeSum_ > 0 ? weightedSum_ / magnitudeSum_ : 0;
    const double total = std::accumulate(bandPower_.begin(), bandPower_.end() - 1, 0.0);
    for (std::size_t band = 0; band < kBands.size(); ++band) {
      summary.bands[std::string(kBands[band].key)] = total > 0 ? bandPower_[band] * 100 / total : 0;
    }
    scaleRows();
    summary.spectrogram = std::move(rows_);
    return summary;
  }

 private:
  void scaleRows() {
    double loudest = 0;
    for (const std::vector<double>& row : rows_) {
      loudest = std::max(loudest, *std::max_element(row.begin(), row.end()));
    }
    for (std::vector<double>& row : rows_) {
      for (double& cell : row) {
        cell = cell > 0 ? std::clamp(10 * std::log10(cell / loudest) / kRangeDb + 1, 0.0, 1.0) : 0;
      }
    }
  }

  std::vector<Bin> bins_;
  std::array<double, kBands.size() + 1> bandPower_ = {};
  double weightedSum_ = 0;
  double magnitudeSum_ = 0;
  std::vector<std::vector<double>> rows_;
};

}  // namespace

SpectralSummary spectralSummary(std::span<const float> mono, double sampleRate) {
  if (mono.size() < kFrameSize) {
    return {};
  }
  // The factor of the window cancels out of every result.
  const std::vector<float> window = hannWindow(kFrameSize, 0.5);
  const std::size_t hop = std::max((mono.size() - kFrameSize) / kMostHops, kShortestHop);
  Fft fft(kFrameSize);
  SpectralSums sums(sampleRate);
  for (std::size_t start = 0; start + kFrameSize <= mono.size(); start += hop) {
    const std::span<const float> frame = mono.subspan(start, kFrameSize);
    for (std::size_t i = 0; i < kFrameSize; ++i) {
      fft.samples()[i] = frame[i] * window[i];
    }
    sums.add(fft.transform());
  }
  return std::move(sums).result();
}

}  // namespace brindlevane::LocalAudioAnalyzer
