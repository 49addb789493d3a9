#include "platform/executable.h"

#include <unistd.h>

#include <vector>

namespace corvane::platform {
namespace {

std::string ReadExecutableDirectory() {
    std::vector<char> buffer(4096);
    for (;;) {
        ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0) {
            return std::string();
        }
        if (static_cast<std::size_t>(n) < buffer.size()) {
            std::string path(buffer.data(), static_cast<std::size_t>(n));
            std::string::size_type slash = path.rfind('/');
            if (slash == std::string::npos) {
                return std::string();
            }
            return slash == 0 ? std::string("/") : path.substr(0, slash);
        }
        if (buffer.size() >= (1u << 20)) {
            return std::string();
        }
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace

// Read once, as the module path that Windows reports stays what it was at start: every socket
// looks for the TLS libraries there.
std::string ExecutableDirectory() {
    static const std::string directory = ReadExecutableDirectory();
    return directory;
}

std::string JoinPath(const std::string& directory, const std::string& name) {
    if (directory.empty()) {
        return name;
    }
    return directory.back() == '/' ? directory + name : directory + "/" + name;
}

}  // namespace corvane::platform
