#pragma once

#include <string>

namespace brindlevane {

/// How the file names of modules end.
extern const char* const kModuleSuffix;

/// Loads a library, which stays loaded, together with the ones that it needs: those beside it and
/// the system's own.
///
/// @param path  the whole path
/// @return where the symbol lies; null when the library cannot be loaded or has no such symbol
[[nodiscard]] void* loadedSymbol(const std::string& path, const char* symbol);

}  // namespace brindlevane
