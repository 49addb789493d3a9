// "%f" of a double (six digits after the point, never an exponent), appended to wide text.
#ifndef CORVANE_SOAP_FIXED_FORMAT_H
#define CORVANE_SOAP_FIXED_FORMAT_H

#include <corvane/types.h>

#include <charconv>
#include <cmath>
#include <cstdint>

namespace corvane::detail {

inline void AppendAsciiDigits(WMString& out, char const* text, char const* end) {
    for (; text != end; ++text) {
        out.push_back(static_cast<WMChar>(static_cast<unsigned char>(*text)));
    }
}

// to_chars gives the same text as printf's "%f" (exact rounding, ties to even, "inf", "nan")
// without the locale, but slowly. Most values written are of moderate size, where the value
// in millionths is exact to far better than the distance to the next rounding boundary: those
// are rounded and printed as integers, the rest go through to_chars.
inline void AppendFixed6(WMString& out, double value) {
    constexpr double kMillion = 1e6;
    constexpr double kFastLimit = 8e9;   // millionths below 2^33: the product errs by < 2^-20
    constexpr double kTieMargin = 1e-4;  // far beyond that error
    double const magnitude = std::fabs(value) * kMillion;
    if (magnitude < kFastLimit) {
        double const whole = std::floor(magnitude);
        double const fraction = magnitude - whole;
        if (std::fabs(fraction - 0.5) > kTieMargin) {
            auto millionths = static_cast<std::uint64_t>(whole) + (fraction > 0.5 ? 1 : 0);
            char digits[32];
            char* end = digits + sizeof digits;
            char* at = end;
            for (int i = 0; i < 6; ++i) {
                *--at = static_cast<char>('0' + millionths % 10);
                millionths /= 10;
            }
            *--at = '.';
            do {
                *--at = static_cast<char>('0' + millionths % 10);
                millionths /= 10;
            } while (millionths != 0);
            if (std::signbit(value)) {
                *--at = '-';
            }
            AppendAsciiDigits(out, at, end);
            return;
        }
    }
    // The widest result, -DBL_MAX, has 309 integer digits.
    char buffer[352];
    auto const result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 6);
    AppendAsciiDigits(out, buffer, result.ptr);
}

}  // namespace corvane::detail

#endif
