// Windows only: the file system's wide paths and the UTF-8 paths of the internal interfaces.
#ifndef CORVANE_PLATFORM_WIN_UTF8_H
#define CORVANE_PLATFORM_WIN_UTF8_H

#include <string>

namespace corvane::platform {

// Both fail (return false) on text that is not valid in the source encoding, so a damaged
// path is refused rather than opened under another name.
bool Utf8ToWidePath(const std::string& utf8, std::wstring& wide);
bool WidePathToUtf8(const std::wstring& wide, std::string& utf8);

}  // namespace corvane::platform

#endif
