#include "soap/server_text.h"

#include <cstdint>
#include <cstring>

namespace corvane {

namespace {

// Whether the eight UTF-16 units (or bytes) from `at` are all ASCII; a word at a time, since
// bodies are mostly markup and this runs over every byte of every request and answer.
bool AsciiUnits(char16_t const* at) {
    std::uint64_t words[2];
    std::memcpy(words, at, sizeof words);
    return ((words[0] | words[1]) & 0xFF80FF80FF80FF80ULL) == 0;
}

// The low bytes of four ASCII UTF-16 units, in order, on the little-endian machines Corvane is
// built for.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "NarrowUnits assumes a little-endian machine"
#endif
std::uint32_t NarrowUnits(std::uint64_t word) {
    return static_cast<std::uint32_t>((word & 0xFF) | ((word >> 8) & 0xFF00) |
                                      ((word >> 16) & 0xFF0000) | ((word >> 24) & 0xFF000000));
}

bool AsciiBytes(unsigned char const* at) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return (word & 0x8080808080808080ULL) == 0;
}

// Decodes strict UTF-8 into `out`; false at the first invalid sequence. Written in place: UTF-16
// never takes more units than UTF-8 takes bytes.
bool DecodeUTF8(std::string_view bytes, WMString& out) {
    out.resize(bytes.size());
    char16_t* to = out.data();
    auto const* from = reinterpret_cast<unsigned char const*>(bytes.data());
    std::size_t const size = bytes.size();
    std::size_t i = 0;
    while (i < size) {
        if (i + 8 <= size && AsciiBytes(from + i)) {
            for (std::size_t k = 0; k < 8; ++k) {
                to[k] = from[i + k];
            }
            to += 8;
            i += 8;
            continue;
        }
        unsigned char const byte = from[i];
        if (byte < 0x80) {
            *to++ = byte;
            ++i;
            continue;
        }
        std::size_t length;
        char32_t code;
        char32_t minimum;
        if ((byte & 0xE0) == 0xC0) {
            length = 2;
            code = byte & 0x1F;
            minimum = 0x80;
        } else if ((byte & 0xF0) == 0xE0) {
            length = 3;
            code = byte & 0x0F;
            minimum = 0x800;
        } else if ((byte & 0xF8) == 0xF0) {
            length = 4;
            code = byte & 0x07;
            minimum = 0x10000;
        } else {
            return false;
        }
        if (size - i < length) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            unsigned char const next = from[i + k];
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            code = (code << 6) | (next & 0x3F);
        }
        if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            return false;
        }
        if (code >= 0x10000) {
            code -= 0x10000;
            *to++ = static_cast<char16_t>(0xD800 + (code >> 10));
            *to++ = static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        } else {
            *to++ = static_cast<char16_t>(code);
        }
        i += length;
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}

bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

char* PutCodePoint(char32_t code, char* to) {
    if (code < 0x80) {
        *to++ = static_cast<char>(code);
    } else if (code < 0x800) {
        *to++ = static_cast<char>(0xC0 | (code >> 6));
        *to++ = static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        *to++ = static_cast<char>(0xE0 | (code >> 12));
        *to++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        *to++ = static_cast<char>(0x80 | (code & 0x3F));
    } else {
        *to++ = static_cast<char>(0xF0 | (code >> 18));
        *to++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        *to++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        *to++ = static_cast<char>(0x80 | (code & 0x3F));
    }
    return to;
}

}  // namespace

WMString DecodeHTTPText(std::string_view bytes) {
    WMString text;
    if (DecodeUTF8(bytes, text)) {
        return text;
    }
    text.assign(bytes.size(), u'\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text[i] = static_cast<unsigned char>(bytes[i]);
    }
    return text;
}

void AppendUTF8(WMString const& text, std::string& out) {
    // The length first, then the bytes into place: a per-byte append checks the capacity each
    // time, and this runs over every answer.
    std::size_t const size = text.size();
    std::size_t length = 0;
    for (std::size_t i = 0; i < size; ++i) {
        if (i + 8 <= size && AsciiUnits(&text[i])) {
            length += 8;
            i += 7;
            continue;
        }
        char32_t const unit = text[i];
        if (unit < 0x80) {
            ++length;
        } else if (unit < 0x800) {
            length += 2;
        } else if (IsHighSurrogate(unit) && i + 1 < size && IsLowSurrogate(text[i + 1])) {
            length += 4;
            ++i;
        } else {
            length += 3;  // a lone surrogate is written as U+FFFD, three bytes too
        }
    }
    std::size_t const start = out.size();
    out.resize(start + length);
    char* to = out.data() + start;
    for (std::size_t i = 0; i < size; ++i) {
        if (i + 8 <= size && AsciiUnits(&text[i])) {
            std::uint64_t words[2];
            std::memcpy(words, &text[i], sizeof words);
            std::uint32_t const bytes[2] = {NarrowUnits(words[0]), NarrowUnits(words[1])};
            std::memcpy(to, bytes, sizeof bytes);
            to += 8;
            i += 7;
            continue;
        }
        char32_t const unit = text[i];
        if (IsHighSurrogate(unit) && i + 1 < size && IsLowSurrogate(text[i + 1])) {
            to = PutCodePoint(0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00), to);
            ++i;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            to = PutCodePoint(0xFFFD, to);
        } else {
            to = PutCodePoint(unit, to);
        }
    }
}

}  // namespace corvane
