#include "platform/codepage.h"

namespace corvane::platform {

namespace {

// Messages are converted whole, a megabyte and more at a time: blocks of a fixed width let the
// compiler turn the loops into wide moves.
constexpr std::size_t kBlock = 16;

}  // namespace

void AnsiToWide(const char* bytes, std::size_t length, char16_t* out) {
    std::size_t i = 0;
    for (; i + kBlock <= length; i += kBlock) {
        for (std::size_t k = 0; k < kBlock; ++k) {
            out[i + k] = static_cast<unsigned char>(bytes[i + k]);
        }
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
    std::size_t i = 0;
    // A block without a character above U+00FF, the usual case, is narrowed without a test
    // per character; any other block goes the slow way below.
    for (; i + kBlock <= length; i += kBlock) {
        char16_t high = 0;
        for (std::size_t k = 0; k < kBlock; ++k) {
            high |= text[i + k];
        }
        if (high > 0xFF) {
            break;
        }
        for (std::size_t k = 0; k < kBlock; ++k) {
            out[i + k] = static_cast<char>(static_cast<unsigned char>(text[i + k]));
        }
    }
    for (; i < length; ++i) {
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
