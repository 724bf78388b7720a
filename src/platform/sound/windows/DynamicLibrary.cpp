#include "platform/sound/DynamicLibrary.h"

#include "platform/windows/WideText.h"

namespace brindlevane {

void* loadedSymbol(const std::string& path, const char* symbol) {
  const std::optional<std::wstring> widePath = wideFilePath(path + ".dll");
  // Neither the current folder nor PATH is looked through for what the library needs.
  const HMODULE library =
      widePath ? LoadLibraryExW(widePath->c_str(), nullptr,
                                LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32)
               : nullptr;
  return library == nullptr ? nullptr : reinterpret_cast<void*>(GetProcAddress(library, symbol));
}

}  // namespace brindlevane
