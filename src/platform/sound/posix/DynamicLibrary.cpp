#include "platform/sound/DynamicLibrary.h"

#include <dlfcn.h>

namespace brindlevane {

void* loadedSymbol(const std::string& path, const char* symbol) {
  void* const library = ::dlopen((path + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
  return library == nullptr ? nullptr : ::dlsym(library, symbol);
}

}  // namespace brindlevane
