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

// A text that changes whenever an entry of `directory` is added, removed or renamed, or the
// directory itself is replaced. Empty when the directory cannot be examined or changed within
// the last seconds: the file system's clock may be too coarse to tell that change from the next.
std::string DirectoryStamp(const std::string& directory);
// The file names of OpenSSL's crypto and TLS libraries, as pairs in the order to try them.
const std::vector<std::pair<std::string, std::string>>& TlsLibraryFileNames();

}  // namespace corvane::platform

#endif
