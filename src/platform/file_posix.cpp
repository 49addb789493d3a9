#include "platform/file.h"

#include <cstdio>
#include <memory>

namespace corvane::platform {

FileReadResult ReadWholeFile(const std::string& utf8Path, std::size_t maxBytes,
                             std::string& bytes) {
    bytes.clear();
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(utf8Path.c_str(), "rb"),
                                                         &std::fclose);
    if (!file) {
        return FileReadResult::kCannotOpen;
    }
    // Read in chunks rather than trusting a seek to the end: pipes and special files report no
    // size, and the limit must hold whatever the file claims.
    char chunk[65536];
    for (;;) {
        std::size_t got = std::fread(chunk, 1, sizeof chunk, file.get());
        if (got > 0) {
            if (bytes.size() + got > maxBytes) {
                bytes.clear();
                return FileReadResult::kTooLarge;
            }
            bytes.append(chunk, got);
        }
        if (got < sizeof chunk) {
            if (std::ferror(file.get())) {
                bytes.clear();
                return FileReadResult::kReadError;
            }
            return FileReadResult::kOk;
        }
    }
}

}  // namespace corvane::platform
