#include <stdio.h>

#include <memory>

#include "platform/file.h"
#include "platform/win_utf8.h"

namespace corvane::platform {

FileReadResult ReadWholeFile(const std::string& utf8Path, std::size_t maxBytes,
                             std::string& bytes) {
    bytes.clear();
    std::wstring widePath;
    if (utf8Path.empty() || !Utf8ToWidePath(utf8Path, widePath)) {
        return FileReadResult::kCannotOpen;
    }
    std::unique_ptr<FILE, int (*)(FILE*)> file(::_wfopen(widePath.c_str(), L"rb"), &::fclose);
    if (!file) {
        return FileReadResult::kCannotOpen;
    }
    // Read in chunks rather than trusting the size: devices and pipes report none, and the
    // limit must hold whatever the file claims.
    char chunk[65536];
    for (;;) {
        std::size_t got = ::fread(chunk, 1, sizeof chunk, file.get());
        if (got > 0) {
            if (bytes.size() + got > maxBytes) {
                bytes.clear();
                return FileReadResult::kTooLarge;
            }
            bytes.append(chunk, got);
        }
        if (got < sizeof chunk) {
            if (::ferror(file.get())) {
                bytes.clear();
                return FileReadResult::kReadError;
            }
            return FileReadResult::kOk;
        }
    }
}

}  // namespace corvane::platform
