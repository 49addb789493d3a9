#include "platform/codepage.h"

#include <cstring>

namespace corvane::platform {

void AnsiToWide(const char* bytes, std::size_t length, char16_t* out) {
    // Blocks of a fixed length through local copies, which the compiler widens with vector
    // instructions at -O2 too (the texts may not overlap); a whole description goes through here.
    constexpr std::size_t kBlock = 16;
    std::size_t i = 0;
    for (; i + kBlock <= length; i += kBlock) {
        unsigned char narrow[kBlock];
        char16_t wide[kBlock];
        std::memcpy(narrow, bytes + i, kBlock);
        for (std::size_t j = 0; j < kBlock; ++j) {
            wide[j] = narrow[j];
        }
        std::memcpy(out + i, wide, sizeof wide);
    }
    for (; i < length; ++i) {
        out[i] = static_cast<unsigned char>(bytes[i]);
    }
}

void AnsiToWide(const char* bytes, std::size_t length, std::u16string& out) {
    const std::size_t start = out.size();
    out.resize(start + length);
    AnsiToWide(bytes, length, &out[0] + start);
}

void WideToAnsi(const char16_t* text, std::size_t length, char* out) {
    for (std::size_t i = 0; i < length; ++i) {
        out[i] = text[i] > 0xFF ? '?' : static_cast<char>(static_cast<unsigned char>(text[i]));
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
