// Reading a whole file into memory.
#ifndef CORVANE_PLATFORM_FILE_H
#define CORVANE_PLATFORM_FILE_H

#include <cstddef>
#include <string>

namespace corvane::platform {

enum class FileReadResult { kOk, kCannotOpen, kTooLarge, kReadError };

// Reads the file at `utf8Path` (opened in binary mode) into `bytes`. Files above `maxBytes` are
// refused before anything is read, so a huge or endless file cannot exhaust memory.
FileReadResult ReadWholeFile(const std::string& utf8Path, std::size_t maxBytes, std::string& bytes);

}  // namespace corvane::platform

#endif
