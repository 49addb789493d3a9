// Run-time loading of shared libraries by absolute path.
#ifndef CORVANE_PLATFORM_LIBRARY_H
#define CORVANE_PLATFORM_LIBRARY_H

#include <string>
#include <utility>
#include <vector>

namespace corvane::platform {

// Loads the library at exactly `path` (never through the system's search order); null when it
// cannot be loaded. Libraries are never unloaded.
void* LoadLibraryAt(const std::string& path);
// The address of `name` in a loaded library, or null.
void* FindSymbol(void* library, const char* name);

// The file names of OpenSSL's crypto and TLS libraries, as pairs in the order to try them.
const std::vector<std::pair<std::string, std::string>>& TlsLibraryFileNames();

}  // namespace corvane::platform

#endif
