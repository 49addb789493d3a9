#include "platform/codepage.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace corvane::platform {

namespace {

// Messages are converted whole, a megabyte and more at a time, so the conversions take 16 units
// per step where the processor allows it.
constexpr std::size_t kBlock = 16;

}  // namespace

void AnsiToWide(const char* bytes, std::size_t length, char16_t* out) {
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    for (; i + kBlock <= length; i += kBlock) {
        const __m128i narrow = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(narrow, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(narrow, zero));
    }
#endif
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
#if defined(__SSE2__)
    // A block without a unit above U+00FF, the usual case, is packed whole; from the first
    // other block on, the units are taken one by one.
    const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF00));
    for (; i + kBlock <= length; i += kBlock) {
        const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i + 8));
        const __m128i above = _mm_and_si128(_mm_or_si128(first, second), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(above, _mm_setzero_si128())) != 0xFFFF) {
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(first, second));
    }
#endif
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
