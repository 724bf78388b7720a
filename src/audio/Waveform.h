#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace brindlevane::LocalAudioAnalyzer {

/// The peak envelope of a signal: the largest magnitude in each of `points` equal stretches. The
/// remainder of the division lies in no stretch; with fewer samples than points each stretch is
/// one sample, and the points beyond the end are 0.
///
/// @param mono    full scale = 1; samples that are not finite are passed over
/// @param points  greater than 0
/// @return `points` values in time order, or none for an empty signal
[[nodiscard]] std::vector<double> waveform(std::span<const float> mono, std::size_t points);

}  // namespace brindlevane::LocalAudioAnalyzer
