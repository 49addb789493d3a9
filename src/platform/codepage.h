// Conversion between wide text and the bytes of the system's ANSI code page. On POSIX the
// code page is ISO-8859-1: byte b is code unit b, and a code unit above 0xFF becomes "?".
#ifndef CORVANE_PLATFORM_CODEPAGE_H
#define CORVANE_PLATFORM_CODEPAGE_H

#include <cstddef>
#include <string>

namespace corvane::platform {

// Appends the wide form of `length` bytes to `out`, in one pass.
void AnsiToWide(const char* bytes, std::size_t length, std::u16string& out);
// Writes the wide form of `length` bytes to `out` (room for `length` code units).
void AnsiToWide(const char* bytes, std::size_t length, char16_t* out);
// Writes the byte form of `length` code units to `out` (room for `length` bytes).
void WideToAnsi(const char16_t* text, std::size_t length, char* out);

std::u16string AnsiToWide(const std::string& bytes);
std::string WideToAnsi(const std::u16string& text);

}  // namespace corvane::platform

#endif
