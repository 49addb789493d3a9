// UTF-8 conversion of 16-bit code units, driven by the six-row table of the early UTF-8
// definition (sequences of up to six bytes).
#include <corvane/utf8.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace corvane {
namespace {

struct Utf8Row {
    std::uint32_t leadMask;
    std::uint32_t leadValue;
    int shift;
    std::uint32_t largest;
    std::uint32_t smallest;
};

constexpr Utf8Row kRows[6] = {
    {0x80, 0x00, 0, 0x7F, 0x0},
    {0xE0, 0xC0, 6, 0x7FF, 0x80},
    {0xF0, 0xE0, 12, 0xFFFF, 0x800},
    {0xF8, 0xF0, 18, 0x1FFFFF, 0x10000},
    {0xFC, 0xF8, 24, 0x3FFFFFF, 0x200000},
    {0xFE, 0xFC, 30, 0x7FFFFFFF, 0x4000000},
};

// A code unit never needs more than the first three rows.
inline int EncodedLength(std::uint32_t c) {
    return c <= kRows[0].largest ? 1 : c <= kRows[1].largest ? 2 : 3;
}

inline int EncodeUnit(std::uint32_t c, unsigned char* out) {
    int row = EncodedLength(c) - 1;
    int shift = kRows[row].shift;
    *out++ = static_cast<unsigned char>((c >> shift) | kRows[row].leadValue);
    while (shift > 0) {
        shift -= 6;
        *out++ = static_cast<unsigned char>(0x80 | ((c >> shift) & 0x3F));
    }
    return row + 1;
}

// Decodes one sequence. At most `avail` bytes are read at `in`; a byte past them reads as the
// terminating zero that the unbounded form relies on, so the string converters give the same
// results without ever reading beyond their input. `avail` of SIZE_MAX means unbounded.
inline int DecodeSequence(unsigned char const* in, std::size_t avail, WMChar* out) {
    std::uint32_t const c = in[0];
    // Lead bits shifted past 32 bits fall outside every row's mask, so wrapping is harmless.
    std::uint32_t value = c;
    int row = 0;
    while ((c & kRows[row].leadMask) != kRows[row].leadValue) {
        if (row == 5) {
            return 0;  // no row matches; the byte after would not change that
        }
        ++row;
        std::uint32_t const next = static_cast<std::size_t>(row) < avail ? in[row] : 0;
        std::uint32_t const bits = next ^ 0x80;
        if (bits >= 64) {
            return 0;
        }
        value = (value << 6) | bits;
    }
    value &= kRows[row].largest;
    if (value < kRows[row].smallest) {
        return 0;  // over-long form
    }
    *out = static_cast<WMChar>(value & 0xFFFF);
    return row + 1;
}

constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;
constexpr std::uint64_t kLaneOnes = 0x0001000100010001ULL;
constexpr std::uint64_t kLaneHighBits = 0xFF80FF80FF80FF80ULL;

// Results are counts in an int: longer inputs are refused rather than miscounted.
constexpr std::size_t kMaxCount = static_cast<std::size_t>(INT_MAX);

int DecodeString(unsigned char const* in, std::size_t length, WMString& out) {
    out.clear();
    if (in == nullptr || length == 0 || length > kMaxCount) {
        return 0;
    }
    out.resize(length);  // never more code units than bytes
    WMChar* dst = &out[0];
    std::size_t pos = 0;
    std::size_t count = 0;
    while (pos < length) {
        // ASCII runs, eight bytes at a time: each byte below 0x80 decodes to itself.
        while (pos + 8 <= length) {
            std::uint64_t word;
            std::memcpy(&word, in + pos, 8);
            if ((word & kHighBits) != 0) {
                break;
            }
            for (int i = 0; i < 8; ++i) {
                dst[count + i] = in[pos + i];
            }
            pos += 8;
            count += 8;
        }
        if (pos == length) {
            break;
        }
        if (in[pos] < 0x80) {
            dst[count++] = in[pos++];
            continue;
        }
        int const used = DecodeSequence(in + pos, length - pos, dst + count);
        if (used == 0) {
            out.resize(count);
            return 0;
        }
        pos += static_cast<std::size_t>(used);
        ++count;
    }
    out.resize(count);
    return static_cast<int>(count);
}

// Zero code units are counted as one byte each but contribute nothing to `out`: the units used
// to be appended as zero-terminated strings, and callers rely on the count as it was.
int EncodeString(WMChar const* text, std::size_t length, std::string& out) {
    out.clear();
    if (text == nullptr || length == 0) {
        return 0;
    }
    // Branch-free so that the compiler vectorizes it.
    std::size_t counted = 0;
    std::size_t zeros = 0;
    for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t const c = text[i];
        counted += 1 + (c > kRows[0].largest) + (c > kRows[1].largest);
        zeros += c == 0;
    }
    if (counted > kMaxCount) {
        return 0;
    }
    // Sized exactly in one step: no growth while appending.
    out.resize(counted - zeros);
    auto* dst = reinterpret_cast<unsigned char*>(&out[0]);
    std::size_t i = 0;
    while (i < length) {
        // Runs of units 1 to 0x7F, four at a time: a zero unit or one above 0x7F sets a high
        // bit in its lane of either `word` or `word - 1`.
        while (i + 4 <= length) {
            std::uint64_t word;
            std::memcpy(&word, text + i, 8);
            if (((word | (word - kLaneOnes)) & kLaneHighBits) != 0) {
                break;
            }
            for (int k = 0; k < 4; ++k) {
                dst[k] = static_cast<unsigned char>(text[i + k]);
            }
            dst += 4;
            i += 4;
        }
        if (i == length) {
            break;
        }
        std::uint32_t const c = text[i++];
        if (c - 1 < 0x7F) {
            *dst++ = static_cast<unsigned char>(c);
        } else if (c != 0) {
            dst += EncodeUnit(c, dst);
        }
    }
    return static_cast<int>(counted);
}

}  // namespace
}  // namespace corvane

int WideCharToUTF8(char* out, WMChar c) {
    if (out == nullptr) {
        return 0;
    }
    return corvane::EncodeUnit(c, reinterpret_cast<unsigned char*>(out));
}

// A null `out` is treated as an error like a null `in`: there is nowhere to store the result.
int UTF8ToWideChar(WMChar* out, char const* in) {
    if (in == nullptr || out == nullptr) {
        return 0;
    }
    return corvane::DecodeSequence(reinterpret_cast<unsigned char const*>(in), SIZE_MAX, out);
}

// One allocation of the exact size replaces growing the buffer by 1024 bytes at a time: the
// bytes handed back are the same, without repeated copying of long texts.
int WideStringToUTF8(WMChar const* text, unsigned long length, char** out) {
    if (length < 1 || text == nullptr || out == nullptr) {
        return 0;
    }
    std::size_t bytes = 0;
    for (unsigned long i = 0; i < length; ++i) {
        bytes += static_cast<std::size_t>(corvane::EncodedLength(text[i]));
    }
    if (bytes > corvane::kMaxCount) {
        return 0;
    }
    auto* buffer = static_cast<unsigned char*>(std::malloc(bytes));
    *out = reinterpret_cast<char*>(buffer);
    if (buffer == nullptr) {
        return 0;
    }
    for (unsigned long i = 0; i < length; ++i) {
        std::uint32_t const c = text[i];
        if (c < 0x80) {
            *buffer++ = static_cast<unsigned char>(c);
        } else {
            buffer += corvane::EncodeUnit(c, buffer);
        }
    }
    return static_cast<int>(bytes);
}

int WideStringToUTF8(WMString const& text, std::string& out) {
    return corvane::EncodeString(text.data(), text.size(), out);
}

int WideStringToUTF8(WMChar const* text, unsigned long length, std::string& out) {
    return corvane::EncodeString(text, length, out);
}

int UTF8ToWideString(std::string const& in, WMString& out) {
    return corvane::DecodeString(reinterpret_cast<unsigned char const*>(in.data()), in.size(), out);
}

int UTF8ToWideString(char const* in, unsigned long length, WMString& out) {
    return corvane::DecodeString(reinterpret_cast<unsigned char const*>(in), length, out);
}
