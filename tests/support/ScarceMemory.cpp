#include "tests/support/ScarceMemory.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace brindlevane::ScarceMemory {
namespace {

struct State {
  bool counts = false;
  bool hasFailed = false;
  long left = 0;
  long failures = 0;
};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): operator new asks it.
thread_local State state;

bool failsNow() {
  if (!state.counts || --state.left > 0 || state.left <= -state.failures) {
    return false;
  }
  state.hasFailed = true;
  return true;
}

void* allocate(std::size_t size, std::size_t alignment) {
  void* memory = nullptr;
  if (failsNow() || posix_memalign(&memory, alignment, std::max<std::size_t>(size, 1)) != 0) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

void begin(long n, long failures) {
  state = {.counts = true, .left = n, .failures = failures};
}

bool end() {
  state.counts = false;
  return state.hasFailed;
}

// NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): no member.
Pause::Pause() {
  state.counts = false;
}

Pause::~Pause() {
  state.counts = true;
}

}  // namespace brindlevane::ScarceMemory

using brindlevane::ScarceMemory::allocate;

// The forms that are left out call these, or belong to a sanitizer on both sides.
void* operator new(std::size_t size) {
  return allocate(size, alignof(std::max_align_t));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
