#include "platform/library.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <time.h>

namespace corvane::platform {
namespace {

// How long ago a directory must have changed for its stamp to count.
constexpr long kSettledSeconds = 2;

}  // namespace

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

std::string DirectoryStamp(const std::string& directory) {
    struct stat status {};
    timespec now{};
    if (directory.empty() || ::stat(directory.c_str(), &status) != 0 ||
        ::clock_gettime(CLOCK_REALTIME, &now) != 0 ||
        now.tv_sec - status.st_mtim.tv_sec < kSettledSeconds) {
        return std::string();
    }
    // The modification time changes with the entries; device and inode tell a replaced
    // directory apart.
    const long long fields[] = {static_cast<long long>(status.st_dev),
                                static_cast<long long>(status.st_ino),
                                static_cast<long long>(status.st_mtim.tv_sec),
                                static_cast<long long>(status.st_mtim.tv_nsec)};
    return std::string(reinterpret_cast<const char*>(fields), sizeof fields);
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
