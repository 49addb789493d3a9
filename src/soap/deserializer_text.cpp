#include "soap/deserializer_text.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

namespace corvane {

namespace {

// White space as the C library's isspace sees it in the "C" locale.
bool IsCSpace(char16_t c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

}  // namespace

std::int32_t Wtol(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && IsCSpace(text[i])) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
        negative = text[i] == u'-';
        ++i;
    }
    // Accumulate as a negative number so that INT32_MIN is reachable without overflow.
    long long value = 0;
    long long const limit = static_cast<long long>(std::numeric_limits<std::int32_t>::max()) + 1;
    for (; i < text.size() && IsDigit(text[i]); ++i) {
        if (value < limit) {
            value = value * 10 + (text[i] - u'0');
        }
    }
    if (negative) {
        return value >= limit ? std::numeric_limits<std::int32_t>::min()
                              : static_cast<std::int32_t>(-value);
    }
    return value >= limit ? std::numeric_limits<std::int32_t>::max()
                          : static_cast<std::int32_t>(value);
}

float ScanFloat(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && IsCSpace(text[i])) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
        negative = text[i] == u'-';
        ++i;
    }
    // Narrow the number-shaped prefix to ASCII; any other code unit ends it, as it would end
    // strtof's reading of the narrowed text.
    std::size_t end = i;
    for (; end < text.size(); ++end) {
        char16_t const c = text[end];
        bool const allowed = IsDigit(c) || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') ||
                             c == u'.' || c == u'+' || c == u'-' || c == u'(' || c == u')' ||
                             c == u'_';
        if (!allowed) {
            break;
        }
    }
    // A plain decimal of up to fifteen digits: its digits and its power of ten are exact
    // doubles, so their quotient rounded to double and then to float is the correctly rounded
    // float (a double holds more than twice a float's digits), as from_chars gives it.
    if (end > i) {
        std::uint64_t digits = 0;
        int count = 0;
        int fraction = 0;
        bool point = false;
        bool plain = true;
        for (std::size_t k = i; k < end && plain; ++k) {
            char16_t const c = text[k];
            if (IsDigit(c)) {
                digits = digits * 10 + static_cast<std::uint64_t>(c - u'0');
                ++count;
                fraction += point ? 1 : 0;
            } else if (c == u'.' && !point) {
                point = true;
            } else {
                plain = false;
            }
        }
        if (plain && count > 0 && count <= 15) {
            constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                          1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
            float const value = static_cast<float>(static_cast<double>(digits) / kPowers[fraction]);
            return negative ? -value : value;
        }
    }
    // Numbers are short: the narrowed copy goes on the stack unless it is long.
    char small[32];
    std::string large;
    std::size_t const length = end - i;
    char* out = small;
    if (length > sizeof small) {
        large.resize(length);
        out = large.data();
    }
    for (std::size_t k = 0; k < length; ++k) {
        out[k] = static_cast<char>(text[i + k]);
    }
    std::string_view const ascii(out, length);
    char const* first = ascii.data();
    char const* const last = ascii.data() + ascii.size();
    auto format = std::chars_format::general;
    if (ascii.size() > 2 && ascii[0] == '0' && (ascii[1] == 'x' || ascii[1] == 'X') &&
        (std::isxdigit(static_cast<unsigned char>(ascii[2])) || ascii[2] == '.')) {
        first += 2;
        format = std::chars_format::hex;
    }
    float value = 0.0f;
    auto const result = std::from_chars(first, last, value, format);
    if (result.ec == std::errc::invalid_argument) {
        return 0.0f;
    }
    if (result.ec == std::errc::result_out_of_range) {
        // Overflow gives infinity and underflow the nearest float, as strtof does; beyond the
        // range of a double the exponent's sign tells which.
        double wide = 0.0;
        if (std::from_chars(first, last, wide, format).ec == std::errc()) {
            value = std::fabs(wide) >= 1.0 ? std::numeric_limits<float>::infinity()
                                           : static_cast<float>(std::fabs(wide));
        } else {
            std::string_view const number(first, static_cast<std::size_t>(result.ptr - first));
            auto const exponent = number.find_first_of(
                format == std::chars_format::hex ? std::string_view("pP") : "eE");
            bool const tiny = exponent != std::string_view::npos && exponent + 1 < number.size() &&
                              number[exponent + 1] == '-';
            value = tiny ? 0.0f : std::numeric_limits<float>::infinity();
        }
    }
    return negative ? -value : value;
}

}  // namespace corvane
