#include <windows.h>

#include <string>

#include "platform/executable.h"
#include "platform/win_utf8.h"

namespace corvane::platform {
namespace {

bool IsSeparator(char c) {
    return c == '\\' || c == '/';
}

}  // namespace

// The path comes back as UTF-8, the byte form every internal path takes on Windows.
std::string ExecutableDirectory() {
    std::wstring buffer(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n =
            ::GetModuleFileNameW(nullptr, &buffer[0], static_cast<DWORD>(buffer.size()));
        if (n == 0) {
            return std::string();
        }
        if (n < buffer.size()) {
            buffer.resize(n);
            break;
        }
        // Truncated: long paths reach 32767 units at most.
        if (buffer.size() >= 32768) {
            return std::string();
        }
        buffer.resize(buffer.size() * 2);
    }
    std::string path;
    if (!WidePathToUtf8(buffer, path)) {
        return std::string();
    }
    std::string::size_type slash = path.find_last_of("\\/");
    if (slash == std::string::npos) {
        return std::string();
    }
    // "C:\" keeps its separator: "C:" alone would mean the drive's current directory.
    if (slash == 2 && path[1] == ':') {
        return path.substr(0, 3);
    }
    return path.substr(0, slash);
}

std::string JoinPath(const std::string& directory, const std::string& name) {
    if (directory.empty()) {
        return name;
    }
    return IsSeparator(directory.back()) ? directory + name : directory + "\\" + name;
}

}  // namespace corvane::platform
