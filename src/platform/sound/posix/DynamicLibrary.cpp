#include "platform/sound/DynamicLibrary.h"

#include <dlfcn.h>

namespace brindlevane {

const char* const kModuleSuffix = ".so";

void* loadedSymbol(const std::string& path, const char* symbol) {
  void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  return library == nullptr ? nullptr : ::dlsym(library, symbol);
}

}  // namespace brindlevane
