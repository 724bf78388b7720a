#pragma once

#include <cstddef>
#include <span>

namespace brindlevane {

/// A growing array of samples that never moves.
///
/// Address space for the capacity is set aside at once, memory is taken as samples are added
/// and goes back to the system with the object: a capacity far above what comes costs nothing, and
/// another thread may read the samples already there while more are added.
class SampleBuffer {
 public:
  /// @param capacity    most samples that will be added
  /// @param largePages  asks for pages of 2 MiB: several times faster to obtain, up to one page
  ///     more memory
  /// @throws std::bad_alloc  the address space is not there
  SampleBuffer(std::size_t capacity, bool largePages);
  SampleBuffer(SampleBuffer&& other) noexcept;
  SampleBuffer& operator=(SampleBuffer&& other) = delete;
  ~SampleBuffer();

  /// Adds `count` samples, at first 0, within the capacity.
  ///
  /// @return the added samples, for the caller to fill in
  std::span<float> append(std::size_t count);

  [[nodiscard]] std::span<const float> samples() const { return {data_, size_}; }

  /// All of the capacity, the samples that are not there yet included.
  [[nodiscard]] std::span<const float> room() const { return {data_, capacity_}; }

 private:
  void* mapping_ = nullptr;
  std::size_t mappedBytes_ = 0;
  float* data_ = nullptr;
  std::size_t capacity_;
  std::size_t size_ = 0;
};

}  // namespace brindlevane
