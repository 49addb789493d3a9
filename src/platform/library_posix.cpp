#include "platform/library.h"

#include <dlfcn.h>

namespace corvane::platform {

void* LoadLibraryAt(const std::string& path) {
    // A name without a slash would make dlopen search the system's library path.
    if (path.empty() || path.front() != '/' || path.find('\0') != std::string::npos) {
        return nullptr;
    }
    return ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(void* library, const char* name) {
    return library == nullptr ? nullptr : ::dlsym(library, name);
}

const std::vector<std::pair<std::string, std::string>>& TlsLibraryFileNames() {
    static const std::vector<std::pair<std::string, std::string>> names = {
        {"libcrypto.so.3", "libssl.so.3"},
        {"libcrypto.so.1.1", "libssl.so.1.1"},
        {"libcrypto.so.1.0.0", "libssl.so.1.0.0"},
        {"libcrypto.so", "libssl.so"},
    };
    return names;
}

}  // namespace corvane::platform
