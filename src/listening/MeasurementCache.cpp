#include "listening/MeasurementCache.h"

#include <functional>

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

std::size_t MeasurementCache::Hash::operator()(const AudioCacheKey& key) const {
  std::size_t hash = 0;
  const auto combine = [&hash](std::size_t value) {
    hash ^= value + 0x9e3779b9U + (hash << 6U) + (hash >> 2U);
  };
  combine(std::hash<std::string>()(key.path));
  combine(std::hash<std::uint64_t>()(key.size));
  combine(std::hash<double>()(key.modified));
  combine(std::hash<std::int64_t>()(key.transpose));
  combine(std::hash<std::int64_t>()(key.startMilliseconds));
  combine(std::hash<std::int64_t>()(key.durationMilliseconds));
  return hash;
}

}  // namespace brindlevane
