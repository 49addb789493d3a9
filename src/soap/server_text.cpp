#include "soap/server_text.h"

#include <cstddef>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define CORVANE_SERVER_TEXT_SSE2 1
#endif

namespace corvane {

namespace {

// Bodies are mostly ASCII markup and these run over every byte of every request and answer, so
// the leading ASCII run is converted sixteen characters at a time.

// Widens the leading ASCII bytes of `from` into `to`; returns how many there were.
std::size_t WidenAscii(unsigned char const* from, std::size_t size, char16_t* to) {
    std::size_t i = 0;
#ifdef CORVANE_SERVER_TEXT_SSE2
    __m128i const zero = _mm_setzero_si128();
    for (; i + 16 <= size; i += 16) {
        __m128i const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + i));
        if (_mm_movemask_epi8(bytes) != 0) {
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i + 8), _mm_unpackhi_epi8(bytes, zero));
    }
#endif
    for (; i < size && from[i] < 0x80; ++i) {
        to[i] = from[i];
    }
    return i;
}

// Narrows the leading ASCII units of `from` into `to`; returns how many there were.
std::size_t NarrowAscii(char16_t const* from, std::size_t size, char* to) {
    std::size_t i = 0;
#ifdef CORVANE_SERVER_TEXT_SSE2
    __m128i const high = _mm_set1_epi16(static_cast<short>(0xFF80));
    __m128i const zero = _mm_setzero_si128();
    for (; i + 16 <= size; i += 16) {
        __m128i const low = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + i));
        __m128i const next = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + i + 8));
        __m128i const wide = _mm_and_si128(_mm_or_si128(low, next), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(wide, zero)) != 0xFFFF) {
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), _mm_packus_epi16(low, next));
    }
#endif
    for (; i < size && from[i] < 0x80; ++i) {
        to[i] = static_cast<char>(from[i]);
    }
    return i;
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
        std::size_t const ascii = WidenAscii(from + i, size - i, to);
        to += ascii;
        i += ascii;
        if (i == size) {
            break;
        }
        unsigned char const byte = from[i];
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

// AppendUTF8, or with `strict` false and `out` as it was at the first lone surrogate.
bool Encode(std::u16string_view text, std::string& out, bool strict) {
    // Sized for ASCII, the common case, and converted in one pass; past the first other
    // character the rest is measured and the room made once, since a per-byte append checks the
    // capacity each time.
    std::size_t const size = text.size();
    std::size_t const start = out.size();
    out.resize(start + size);
    std::size_t i = NarrowAscii(text.data(), size, out.data() + start);
    if (i == size) {
        return true;
    }
    std::size_t length = i;
    for (std::size_t k = i; k < size; ++k) {
        char32_t const unit = text[k];
        if (unit < 0x80) {
            ++length;
        } else if (unit < 0x800) {
            length += 2;
        } else if (IsHighSurrogate(unit) && k + 1 < size && IsLowSurrogate(text[k + 1])) {
            length += 4;
            ++k;
        } else if (strict && unit >= 0xD800 && unit <= 0xDFFF) {
            out.resize(start);
            return false;
        } else {
            length += 3;  // a lone surrogate is written as U+FFFD, three bytes too
        }
    }
    out.resize(start + length);
    char* to = out.data() + start + i;
    while (i < size) {
        std::size_t const ascii = NarrowAscii(text.data() + i, size - i, to);
        to += ascii;
        i += ascii;
        if (i == size) {
            break;
        }
        char32_t const unit = text[i];
        if (IsHighSurrogate(unit) && i + 1 < size && IsLowSurrogate(text[i + 1])) {
            to = PutCodePoint(0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00), to);
            i += 2;
        } else {
            to = PutCodePoint(unit >= 0xD800 && unit <= 0xDFFF ? 0xFFFD : unit, to);
            ++i;
        }
    }
    return true;
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

bool DecodeStrictUTF8(std::string_view bytes, WMString& text) {
    if (DecodeUTF8(bytes, text)) {
        return true;
    }
    text.clear();
    return false;
}

void AppendUTF8(std::u16string_view text, std::string& out) {
    Encode(text, out, false);
}

bool AppendStrictUTF8(std::u16string_view text, std::string& out) {
    return Encode(text, out, true);
}

}  // namespace corvane
