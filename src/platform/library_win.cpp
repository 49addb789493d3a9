#include <windows.h>

#include "platform/library.h"
#include "platform/win_utf8.h"

namespace corvane::platform {
namespace {

// "C:\..." or "C:/..." or a UNC path "\\server\...": anything else would make the loader
// search the system's directories.
// How long ago a directory must have changed for its stamp to count: two seconds.
constexpr unsigned long long kSettledTicks = 2ull * 10000000ull;

bool IsAbsolute(const std::string& path) {
    if (path.size() >= 3 && path[1] == ':' && (path[2] == '\\' || path[2] == '/')) {
        const char drive = path[0];
        return (drive >= 'A' && drive <= 'Z') || (drive >= 'a' && drive <= 'z');
    }
    return path.size() >= 3 && path[0] == '\\' && path[1] == '\\';
}

}  // namespace

void* LoadLibraryAt(const std::string& path) {
    std::wstring widePath;
    if (!IsAbsolute(path) || !Utf8ToWidePath(path, widePath)) {
        return nullptr;
    }
    // A missing library must not raise the system's error dialog box; only this thread's mode
    // changes, and only for the call.
    DWORD previous = 0;
    const BOOL changed =
        ::SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &previous);
    HMODULE module = ::LoadLibraryW(widePath.c_str());
    if (changed) {
        ::SetThreadErrorMode(previous, nullptr);
    }
    return reinterpret_cast<void*>(module);
}

void* FindSymbol(void* library, const char* name) {
    if (library == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(library), name));
}

std::string DirectoryStamp(const std::string& directory) {
    std::wstring widePath;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (directory.empty() || !Utf8ToWidePath(directory, widePath) ||
        !::GetFileAttributesExW(widePath.c_str(), GetFileExInfoStandard, &data)) {
        return std::string();
    }
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    };
    // FILETIME counts 100 ns ticks.
    if (ticks(now) < ticks(data.ftLastWriteTime) + kSettledTicks) {
        return std::string();
    }
    // A directory's last write time changes with its entries; its creation time tells a
    // replaced directory apart.
    const FILETIME fields[] = {data.ftCreationTime, data.ftLastWriteTime};
    return std::string(reinterpret_cast<const char*>(fields), sizeof fields);
}

const std::vector<std::pair<std::string, std::string>>& TlsLibraryFileNames() {
    static const std::vector<std::pair<std::string, std::string>> names = {
        {"libeay32.dll", "ssleay32.dll"},
        {"libcrypto-3-x64.dll", "libssl-3-x64.dll"},
        {"libcrypto-1_1-x64.dll", "libssl-1_1-x64.dll"},
    };
    return names;
}

}  // namespace corvane::platform
