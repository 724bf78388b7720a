#include "listening/MeasurementCache.h"

namespace brindlevane {

std::optional<AudioMeasurement> MeasurementCache::find(const AudioCacheKey& key) const {
  const std::lock_guard guard(cacheLock);
  const auto entry = cache.find(key);
  return entry == cache.end() ? std::nullopt : std::optional(entry->second);
}

void MeasurementCache::store(const AudioCacheKey& key, const AudioMeasurement& measurement) {
  const std::lock_guard guard(cacheLock);
  if (cache.size() >= kCapacity) {
    cache.clear();
  }
  cache.insert_or_assign(key, measurement);
}

std::size_t MeasurementCache::size() const {
  const std::lock_guard guard(cacheLock);
  return cache.size();
}

}  // namespace brindlevane
