#include "text/wire_text.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace corvane::detail {
namespace {

char Lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

bool Is(std::string_view label, std::string_view lowerName) {
    if (label.size() != lowerName.size()) {
        return false;
    }
    for (std::size_t i = 0; i < label.size(); ++i) {
        if (Lower(label[i]) != lowerName[i]) {
            return false;
        }
    }
    return true;
}

// Whether the next eight bytes, or four UTF-16 units, are all ASCII: answers and requests are
// mostly markup, so whole words are checked and copied before anything is decoded.
bool AsciiBytes(const unsigned char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return (word & 0x8080808080808080ULL) == 0;
}

bool AsciiUnits(const WMChar* units) {
    std::uint64_t word;
    std::memcpy(&word, units, sizeof word);
    return (word & 0xFF80FF80FF80FF80ULL) == 0;
}

// The ASCII blocks of sixteen that start the text, copied whole where the processor allows;
// the count taken, 0 when the first block holds anything else (or without SSE2).
std::size_t AsciiBlockBytes(const unsigned char* bytes, std::size_t size, WMChar* to) {
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    for (; i + 16 <= size; i += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
        if (_mm_movemask_epi8(block) != 0) {
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), _mm_unpacklo_epi8(block, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i + 8), _mm_unpackhi_epi8(block, zero));
    }
#else
    (void)bytes, (void)size, (void)to;
#endif
    return i;
}

std::size_t AsciiBlockUnits(const WMChar* units, std::size_t size, char* to) {
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i notAscii = _mm_set1_epi16(static_cast<short>(0xFF80));
    for (; i + 16 <= size; i += 16) {
        const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + i));
        const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + i + 8));
        const __m128i above = _mm_and_si128(_mm_or_si128(first, second), notAscii);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(above, _mm_setzero_si128())) != 0xFFFF) {
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), _mm_packus_epi16(first, second));
    }
#else
    (void)units, (void)size, (void)to;
#endif
    return i;
}

bool DecodeUtf8(std::string_view bytes, WMString& out, std::string& error) {
    // Written in place: UTF-16 never takes more units than UTF-8 takes bytes, and a per-unit
    // append would check the capacity for every character of the answer.
    out.resize(bytes.size());
    WMChar* to = out.data();
    const auto* from = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t i = 0; i < bytes.size();) {
        if (const std::size_t run = AsciiBlockBytes(from + i, bytes.size() - i, to)) {
            to += run;
            i += run;
            continue;
        }
        if (i + 8 <= bytes.size() && AsciiBytes(from + i)) {
            to[0] = from[i];
            to[1] = from[i + 1];
            to[2] = from[i + 2];
            to[3] = from[i + 3];
            to[4] = from[i + 4];
            to[5] = from[i + 5];
            to[6] = from[i + 6];
            to[7] = from[i + 7];
            to += 8;
            i += 8;
            continue;
        }
        const unsigned char lead = from[i];
        if (lead < 0x80) {
            *to++ = lead;
            ++i;
            continue;
        }
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
        char32_t value = lead & (length == 4 ? 0x07 : length == 3 ? 0x0F : 0x1F);
        bool ok = length != 0 && lead < 0xF5 && i + length <= bytes.size();
        for (std::size_t k = 1; ok && k < length; ++k) {
            const unsigned char next = from[i + k];
            ok = (next & 0xC0) == 0x80;
            value = (value << 6) | (next & 0x3F);
        }
        // Over-long forms, encoded surrogates and values beyond Unicode are all refused.
        static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
        ok = ok && value >= kSmallest[length] && value <= 0x10FFFF &&
             (value < 0xD800 || value > 0xDFFF);
        if (!ok) {
            out.clear();
            error = "The answer is not valid UTF-8 (at byte " + std::to_string(i) + ").";
            return false;
        }
        if (value >= 0x10000) {
            value -= 0x10000;
            *to++ = static_cast<WMChar>(0xD800 + (value >> 10));
            *to++ = static_cast<WMChar>(0xDC00 + (value & 0x3FF));
        } else {
            *to++ = static_cast<WMChar>(value);
        }
        i += length;
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}

bool DecodeUtf16(std::string_view bytes, bool bigEndian, WMString& out, std::string& error) {
    if (bytes.size() % 2 != 0) {
        error = "The answer is not valid UTF-16 (an odd number of bytes).";
        return false;
    }
    out.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        const unsigned char a = static_cast<unsigned char>(bytes[i]);
        const unsigned char b = static_cast<unsigned char>(bytes[i + 1]);
        out += static_cast<WMChar>(bigEndian ? (a << 8 | b) : (b << 8 | a));
    }
    return true;
}

}  // namespace

bool EncodeUtf8(WMString const& text, std::string& out, std::size_t& bad) {
    // One pass, written in place: the text's length in bytes is exact while it is ASCII (a
    // request is mostly markup), and the rest is sized by its bound, three bytes a unit, when
    // the first other character comes; a per-byte append would check the capacity each time.
    const std::size_t size = text.size();
    out.resize(size);
    char* to = out.data();
    bool bounded = false;
    for (std::size_t i = 0; i < size; ++i) {
        if (const std::size_t run = AsciiBlockUnits(text.data() + i, size - i, to)) {
            to += run;
            i += run - 1;
            continue;
        }
        if (i + 4 <= size && AsciiUnits(&text[i])) {
            to[0] = static_cast<char>(text[i]);
            to[1] = static_cast<char>(text[i + 1]);
            to[2] = static_cast<char>(text[i + 2]);
            to[3] = static_cast<char>(text[i + 3]);
            to += 4;
            i += 3;
            continue;
        }
        char32_t c = text[i];
        if (c < 0x80) {
            *to++ = static_cast<char>(c);
            continue;
        }
        if (!bounded) {
            const std::size_t written = static_cast<std::size_t>(to - out.data());
            out.resize(written + 3 * (size - i));
            to = out.data() + written;
            bounded = true;
        }
        if (c < 0x800) {
            *to++ = static_cast<char>(0xC0 | (c >> 6));
            *to++ = static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0xD800 || c > 0xDFFF) {
            *to++ = static_cast<char>(0xE0 | (c >> 12));
            *to++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            *to++ = static_cast<char>(0x80 | (c & 0x3F));
        } else if (c <= 0xDBFF && i + 1 < size && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
            *to++ = static_cast<char>(0xF0 | (c >> 18));
            *to++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            *to++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            *to++ = static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out.clear();
            bad = i;
            return false;
        }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}

bool DecodeText(std::string_view bytes, std::string_view charset, WMString& out,
                std::string& error) {
    out.clear();
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF") {
        return DecodeUtf8(bytes.substr(3), out, error);
    }
    if (bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF") {
        return DecodeUtf16(bytes.substr(2), bytes[0] == '\xFE', out, error);
    }
    if (charset.empty() || Is(charset, "utf-8") || Is(charset, "utf8")) {
        return DecodeUtf8(bytes, out, error);
    }
    if (Is(charset, "iso-8859-1") || Is(charset, "iso8859-1") || Is(charset, "latin1") ||
        Is(charset, "l1") || Is(charset, "us-ascii")) {
        out.reserve(bytes.size());
        for (char c : bytes) {
            out += static_cast<WMChar>(static_cast<unsigned char>(c));
        }
        return true;
    }
    if (Is(charset, "utf-16") || Is(charset, "utf-16be")) {
        return DecodeUtf16(bytes, true, out, error);
    }
    if (Is(charset, "utf-16le")) {
        return DecodeUtf16(bytes, false, out, error);
    }
    error = "The answer's charset is not supported: " + std::string(charset) + ".";
    return false;
}

std::string_view CharsetOf(std::string_view contentType) {
    std::size_t at = 0;
    while ((at = contentType.find(';', at)) != std::string_view::npos) {
        std::string_view parameter = contentType.substr(++at);
        parameter = parameter.substr(0, parameter.find(';'));
        while (!parameter.empty() && (parameter.front() == ' ' || parameter.front() == '\t')) {
            parameter.remove_prefix(1);
        }
        if (parameter.size() > 8 && Is(parameter.substr(0, 8), "charset=")) {
            std::string_view value = parameter.substr(8);
            while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) {
                value.remove_suffix(1);
            }
            if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
                value = value.substr(1, value.size() - 2);
            }
            return value;
        }
    }
    return {};
}

}  // namespace corvane::detail
