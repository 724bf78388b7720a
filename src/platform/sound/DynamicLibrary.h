#pragma once

#include <string>

namespace brindlevane {

/// Loads a module, which stays loaded, together with the libraries that it needs: those beside it
/// and the system's own.
///
/// @param path  the whole path, without the ending that modules have on this system
/// @return where the symbol lies; null when the module cannot be loaded or has no such symbol
[[nodiscard]] void* loadedSymbol(const std::string& path, const char* symbol);

}  // namespace brindlevane
