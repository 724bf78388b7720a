#pragma once

#include "contract/AudioMeasurement.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace brindlevane {

/// What a measurement depends on. A file that changes on disk changes its key.
struct AudioCacheKey {
  std::string path;                   ///< standardised and absolute
  std::uint64_t size;                 ///< bytes; 0 when unknown
  double modified;                    ///< seconds since 1970; 0 when unknown
  std::int64_t transpose;             ///< hundredths of a semitone
  std::int64_t startMilliseconds;     ///< 0 or more
  std::int64_t durationMilliseconds;  ///< 0 when none was asked for

  friend bool operator==(const AudioCacheKey&, const AudioCacheKey&) = default;
};

/// The measurements made so far, for requests that come again.
///
/// Safe to use from several threads; the lock is held for a lookup or a store only. There is no
/// order of eviction: the entries are few and small, and a full cache starts afresh.
class MeasurementCache {
 public:
  static constexpr std::size_t kCapacity = 24;

  [[nodiscard]] std::optional<AudioMeasurement> find(const AudioCacheKey& key) const;

  /// Keeps a measurement under its key. A cache that holds 24 entries is emptied first, even where
  /// the key is one of them.
  void store(const AudioCacheKey& key, const AudioMeasurement& measurement);

  [[nodiscard]] std::size_t size() const;

 private:
  struct Hash {
    std::size_t operator()(const AudioCacheKey& key) const {
      return std::hash<std::string>()(key.path);
    }
  };

  mutable std::mutex cacheLock;
  std::unordered_map<AudioCacheKey, AudioMeasurement, Hash> cache;
};

}  // namespace brindlevane
