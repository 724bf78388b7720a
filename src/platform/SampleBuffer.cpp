#include "platform/SampleBuffer.h"

#include <sys/mman.h>

#include <memory>
#include <new>
#include <utility>

namespace brindlevane {

namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20U;

std::size_t roundedUp(std::size_t bytes) {
  return (bytes + kLargePage - 1) / kLargePage * kLargePage;
}

}  // namespace

SampleBuffer::SampleBuffer(std::size_t capacity, bool largePages) : capacity_(capacity) {
  if (capacity == 0) {
    return;
  }
  // A large page begins at a multiple of its size, and so do the samples, somewhere in the first
  // page of the mapping.
  const std::size_t sampleBytes = roundedUp(capacity * sizeof(float));
  mappedBytes_ = sampleBytes + kLargePage;
  void* const mapping = ::mmap(nullptr, mappedBytes_, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapping == MAP_FAILED) {
    throw std::bad_alloc();
  }
  mapping_ = mapping;
  std::size_t space = mappedBytes_;
  void* start = mapping;
  data_ = static_cast<float*>(std::align(kLargePage, sampleBytes, start, space));
#ifdef MADV_HUGEPAGE
  if (largePages) {
    // Advice only: a system without large pages goes on with small ones.
    static_cast<void>(::madvise(data_, sampleBytes, MADV_HUGEPAGE));
  }
#else
  static_cast<void>(largePages);
#endif
}

SampleBuffer::SampleBuffer(SampleBuffer&& other) noexcept
    : mapping_(std::exchange(other.mapping_, nullptr)),
      mappedBytes_(other.mappedBytes_),
      data_(std::exchange(other.data_, nullptr)),
      capacity_(std::exchange(other.capacity_, 0)),
      size_(std::exchange(other.size_, 0)) {}

SampleBuffer::~SampleBuffer() {
  if (mapping_ != nullptr) {
    ::munmap(mapping_, mappedBytes_);
  }
}

std::span<float> SampleBuffer::append(std::size_t count) {
  if (count > capacity_ - size_) {
    throw std::bad_alloc();
  }
  const std::span<float> added(data_ + size_, count);
  size_ += count;
  return added;
}

}  // namespace brindlevane
