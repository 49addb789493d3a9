#include <windows.h>

#include <climits>

#include "platform/win_utf8.h"

namespace corvane::platform {

bool Utf8ToWidePath(const std::string& utf8, std::wstring& wide) {
    wide.clear();
    if (utf8.empty()) {
        return true;
    }
    if (utf8.size() > INT_MAX || utf8.find('\0') != std::string::npos) {
        return false;
    }
    const int length = static_cast<int>(utf8.size());
    const int needed =
        ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), length, nullptr, 0);
    if (needed <= 0) {
        return false;
    }
    wide.resize(static_cast<std::size_t>(needed));
    return ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), length, &wide[0],
                                 needed) == needed;
}

bool WidePathToUtf8(const std::wstring& wide, std::string& utf8) {
    utf8.clear();
    if (wide.empty()) {
        return true;
    }
    if (wide.size() > INT_MAX) {
        return false;
    }
    const int length = static_cast<int>(wide.size());
    const int needed = ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide.data(), length,
                                             nullptr, 0, nullptr, nullptr);
    if (needed <= 0) {
        return false;
    }
    utf8.resize(static_cast<std::size_t>(needed));
    return ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide.data(), length, &utf8[0],
                                 needed, nullptr, nullptr) == needed;
}

}  // namespace corvane::platform
