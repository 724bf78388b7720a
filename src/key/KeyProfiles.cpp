#include "key/KeyProfiles.h"

#include "contract/AnalysisError.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string_view>
#include <vector>

namespace brindlevane::MusicalKeyAnalyzer {
namespace {

constexpr double kFlatnessFloor = 1e-6;

constexpr std::string_view kNoteNames[] = {"C", "C\u266f", "D", "D\u266f", "E", "F", "F\u266f",
                                           "G", "G\u266f", "A", "A\u266f", "B"};

// Probe-tone ratings by interval above the tonic.
constexpr Chroma kMajorProfile = {6.35, 2.23, 3.48, 2.33, 4.38, 4.09,
                                  2.52, 5.19, 2.39, 3.66, 2.29, 2.88};
constexpr Chroma kMinorProfile = {6.33, 2.68, 3.52, 5.38, 2.60, 3.53,
                                  2.54, 4.75, 3.98, 2.69, 3.34, 3.17};

struct Candidate {
  std::size_t root;
  std::string_view mode;
  double score;
};

double mean(const Chroma& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

// All 24 keys, the best first; of equal ones the lower root, then major.
std::vector<Candidate> rankedCandidates(const Chroma& chroma) {
  std::vector<Candidate> candidates;
  for (std::size_t root = 0; root < chroma.size(); ++root) {
    candidates.push_back({root, "major", correlation(chroma, kMajorProfile, root)});
    candidates.push_back({root, "minor", correlation(chroma, kMinorProfile, root)});
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) { return a.score > b.score; });
  return candidates;
}

double confidenceOf(double bestScore, double secondScore) {
  const double margin = std::max(bestScore - secondScore, 0.0);
  const double fit = std::max(bestScore - 0.45, 0.0);
  return std::clamp(0.43 + 2.2 * margin + 0.45 * fit, 0.3, 0.96);
}

std::size_t transposed(std::size_t pitchClass, double semitones) {
  if (!std::isfinite(semitones)) {
    return pitchClass;
  }
  // The remainder is taken before the conversion, so any finite number of semitones fits.
  const double shift = std::fmod(std::round(semitones), 12.0);
  return (pitchClass + static_cast<std::size_t>(shift + 12)) % 12;
}

}  // namespace

KeyDetection detect(std::span<const double> chroma, double transposeSemitones,
                    double analyzedSeconds) {
  Chroma profile = {};
  if (chroma.size() != profile.size()) {
    throw KeyAnalysisError(KeyAnalysisError::Case::insufficientSignal);
  }
  std::copy(chroma.begin(), chroma.end(), profile.begin());
  const double average = mean(profile);
  double spread = 0;
  for (const double value : profile) {
    spread += (value - average) * (value - average);
  }
  // An infinite spread belongs to values too large to be compared.
  if (!(average > 0) || !(std::sqrt(spread) > kFlatnessFloor) || !std::isfinite(spread)) {
    throw KeyAnalysisError(KeyAnalysisError::Case::insufficientSignal);
  }
  const std::vector<Candidate> ranked = rankedCandidates(profile);
  const Candidate& best = ranked[0];
  const std::string_view note = kNoteNames[transposed(best.root, transposeSemitones)];
  return {std::string(note) + " " + std::string(best.mode),
          confidenceOf(best.score, ranked[1].score), analyzedSeconds};
}

double correlation(const Chroma& chroma, const Chroma& profile, std::size_t root) {
  const double chromaMean = mean(chroma);
  const double profileMean = mean(profile);
  double products = 0;
  double chromaSquares = 0;
  double profileSquares = 0;
  for (std::size_t i = 0; i < profile.size(); ++i) {
    const double x = chroma[(root + i) % chroma.size()] - chromaMean;
    const double y = profile[i] - profileMean;
    products += x * y;
    chromaSquares += x * x;
    profileSquares += y * y;
  }
  const double divisor = std::sqrt(chromaSquares * profileSquares);
  return divisor > 0 ? products / divisor : -1;
}

}  // namespace brindlevane::MusicalKeyAnalyzer
