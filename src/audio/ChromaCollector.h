#pragma once

#include "audio/MonoSignal.h"
#include "key/KeyProfiles.h"

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace brindlevane {

/// Folds the spectrum of a mono signal into a pitch-class profile while the signal is still
/// being decoded.
///
/// Half-overlapping Hann frames of 8192 samples are transformed; each bin from 45 Hz to 5 kHz adds
/// log(1 + magnitude) / sqrt(frequency) to its nearest equal-tempered pitch class (A4 = 440 Hz).
/// Frames with a mean square below 5e-7 are left out.
///
/// A second thread takes part. The frames are cut into fixed groups and the sums of the groups
/// added in order, so the result does not depend on which thread folds a group, or when.
///
/// @see T. Fujishima, "Realtime Chord Recognition of Musical Sound", ICMC 1999.
class ChromaCollector {
 public:
  /// @param signal      with room for all samples to come; what lies beyond the last announced one
  ///     is not touched
  /// @param sampleRate  Hz, greater than 0
  ChromaCollector(const MonoSignal& signal, double sampleRate);
  ChromaCollector(const ChromaCollector&) = delete;
  ChromaCollector& operator=(const ChromaCollector&) = delete;
  /// Gives up whatever has not been folded yet.
  ~ChromaCollector();

  /// Announces that the first `count` samples are in place, for good. The signal may still turn
  /// out one sample shorter than the largest count announced.
  void announce(std::size_t count);

  /// Folds what is left of a signal of `count` samples; the last call.
  ///
  /// @return 12 sums >= 0, not normalised
  /// @throws KeyAnalysisError  insufficientSignal: fewer than 8192 samples, fewer than three frames
  ///     that carry sound, or no sound in the frequency range
  [[nodiscard]] Chroma finish(std::size_t count);

 private:
  class Folder;
  struct Bins;
  /// What the frames of one group add.
  struct GroupSum {
    Chroma chroma = {};
    std::size_t framesUsed = 0;
  };

  void extend(std::size_t count, bool ended);
  [[nodiscard]] std::optional<std::size_t> claimGroup(bool wait);
  void foldGroups(Folder& folder, bool wait);

  MonoSignal signal_;
  std::shared_ptr<const Bins> bins_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::size_t frames_ = 0;
  bool ended_ = false;
  std::size_t nextGroup_ = 0;
  std::vector<GroupSum> sums_;
  std::thread helper_;
};

}  // namespace brindlevane
