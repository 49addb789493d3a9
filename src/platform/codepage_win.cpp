#include <windows.h>

#include "platform/codepage.h"

namespace corvane::platform {
namespace {

// Callers size their buffers one unit per byte, so every conversion is made unit by unit: a
// byte that does not stand alone in the ANSI code page (a lead byte of a double-byte page)
// becomes "?" instead of changing the length. Both tables are built once, from the code page
// in force when the library is first used, and shared read-only afterwards.
struct CodePageTables {
    char16_t toWide[256];
    char toAnsi[65536];

    CodePageTables() {
        for (int b = 0; b < 256; ++b) {
            const char byte = static_cast<char>(b);
            wchar_t unit = L'?';
            if (::MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, &byte, 1, &unit, 1) != 1) {
                unit = L'?';
            }
            toWide[b] = static_cast<char16_t>(unit);
        }
        for (int u = 0; u < 65536; ++u) {
            const wchar_t unit = static_cast<wchar_t>(u);
            char bytes[8];
            BOOL usedDefault = FALSE;
            const int n = ::WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, &unit, 1, bytes,
                                                sizeof bytes, nullptr, &usedDefault);
            toAnsi[u] = (n == 1 && !usedDefault) ? bytes[0] : '?';
        }
    }
};

const CodePageTables& Tables() {
    static const CodePageTables tables;
    return tables;
}

}  // namespace

void AnsiToWide(const char* bytes, std::size_t length, char16_t* out) {
    const CodePageTables& tables = Tables();
    for (std::size_t i = 0; i < length; ++i) {
        out[i] = tables.toWide[static_cast<unsigned char>(bytes[i])];
    }
}

void AnsiToWide(const char* bytes, std::size_t length, std::u16string& out) {
    const std::size_t start = out.size();
    out.resize(start + length);
    AnsiToWide(bytes, length, &out[0] + start);
}

void WideToAnsi(const char16_t* text, std::size_t length, char* out) {
    const CodePageTables& tables = Tables();
    for (std::size_t i = 0; i < length; ++i) {
        out[i] = tables.toAnsi[text[i]];
    }
}

std::u16string AnsiToWide(const std::string& bytes) {
    std::u16string text;
    AnsiToWide(bytes.data(), bytes.size(), text);
    return text;
}

std::string WideToAnsi(const std::u16string& text) {
    std::string bytes(text.size(), '\0');
    WideToAnsi(text.data(), text.size(), &bytes[0]);
    return bytes;
}

}  // namespace corvane::platform
