#include "platform/SampleBuffer.h"

#include <sys/mman.h>

#include <new>
#include <utility>

namespace brindlevane {

SampleBuffer::SampleBuffer(std::size_t capacity, bool largePages)
    : data_(nullptr), capacity_(capacity) {
  if (capacity == 0) {
    return;
  }
  void* const memory = ::mmap(nullptr, capacity * sizeof(float), PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::bad_alloc();
  }
#ifdef MADV_HUGEPAGE
  if (largePages) {
    // Advice only: a system without large pages goes on with small ones.
    static_cast<void>(::madvise(memory, capacity * sizeof(float), MADV_HUGEPAGE));
  }
#else
  static_cast<void>(largePages);
#endif
  data_ = static_cast<float*>(memory);
}

SampleBuffer::SampleBuffer(SampleBuffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      capacity_(std::exchange(other.capacity_, 0)),
      size_(std::exchange(other.size_, 0)) {}

SampleBuffer::~SampleBuffer() {
  if (data_ != nullptr) {
    ::munmap(data_, capacity_ * sizeof(float));
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
