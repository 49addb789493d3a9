// Skipping the ordinary code units of a text eight at a time, for the reader's and the
// writer's loops over character data, attribute values and escaped output. SSE2 is part of
// every x86-64 target; elsewhere nothing is skipped here and the caller's own loop reads unit by
// unit, which gives the same result.
#ifndef CORVANE_XML_READER_SCAN_H
#define CORVANE_XML_READER_SCAN_H

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace corvane {
namespace detail {

// The first position of [p, end) that holds one of `Set`, or, when there is none among the
// units read eight at a time, the position from which fewer than eight remain. Every unit
// skipped is outside `Set`, so a caller whose loop looks at nothing else loses nothing.
template <char16_t... Set>
inline char16_t const* SkipOthers(char16_t const* p, char16_t const* end) {
#if defined(__SSE2__)
    while (end - p >= 8) {
        __m128i const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
        __m128i hits = _mm_setzero_si128();
        ((hits =
              _mm_or_si128(hits, _mm_cmpeq_epi16(units, _mm_set1_epi16(static_cast<short>(Set))))),
         ...);
        int const mask = _mm_movemask_epi8(hits);
        if (mask != 0) {
            return p + (__builtin_ctz(static_cast<unsigned>(mask)) >> 1);
        }
        p += 8;
    }
#else
    (void)end;
#endif
    return p;
}

}  // namespace detail
}  // namespace corvane

#endif
