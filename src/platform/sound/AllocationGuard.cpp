// Ends the process where memory runs out. Decoder libraries pass over some allocations that fail,
// and go on with other sound; some crash, some never end.
//
// The names are the C library's, and take the place of its own for whatever the program loads.

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

// What glibc's own calloc is called as well.
extern "C" void* __libc_calloc(std::size_t count,
                               std::size_t size);  // NOLINT(bugprone-reserved-identifier)

namespace {

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Looking for a name may itself call calloc.
void* (*nextCalloc)(std::size_t, std::size_t) = __libc_calloc;
__attribute__((constructor)) void lookForCalloc() {
  nextCalloc = next<void*(std::size_t, std::size_t)>("calloc");
}

void* orEnd(void* memory) {
  if (memory == nullptr && errno == ENOMEM) {
    _exit(EXIT_FAILURE);
  }
  return memory;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  static auto* const kNext = next<void*(std::size_t)>("malloc");
  return orEnd(kNext(size));
}

void* calloc(std::size_t count, std::size_t size) {
  return orEnd(nextCalloc(count, size));
}

void* realloc(void* memory, std::size_t size) {
  static auto* const kNext = next<void*(void*, std::size_t)>("realloc");
  void* const moved = kNext(memory, size);
  return size == 0 ? moved : orEnd(moved);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  static auto* const kNext = next<void*(std::size_t, std::size_t)>("aligned_alloc");
  return orEnd(kNext(alignment, size));
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  static auto* const kNext = next<int(void**, std::size_t, std::size_t)>("posix_memalign");
  const int error = kNext(memory, alignment, size);
  if (error == ENOMEM) {
    _exit(EXIT_FAILURE);
  }
  return error;
}

}  // extern "C"
