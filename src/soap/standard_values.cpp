#include "soap/standard_values.h"

#include <corvane/message.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>

namespace corvane::detail {

namespace {

using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;
using View = std::u16string_view;

enum class Form {
    Text,
    Boolean,
    Float,
    Double,
    Decimal,
    Integer,
    Base64,
    Hex,
    DateTime,
    Date,
    Time
};

struct TypeInfo {
    View name;
    Form form;
    // Integer bounds as decimal text; empty when unbounded on that side.
    std::string_view min;
    std::string_view max;
};

constexpr TypeInfo kTypes[] = {
    {u"boolean", Form::Boolean, {}, {}},
    {u"float", Form::Float, {}, {}},
    {u"double", Form::Double, {}, {}},
    {u"decimal", Form::Decimal, {}, {}},
    {u"byte", Form::Integer, "-128", "127"},
    {u"short", Form::Integer, "-32768", "32767"},
    {u"int", Form::Integer, "-2147483648", "2147483647"},
    {u"long", Form::Integer, "-9223372036854775808", "9223372036854775807"},
    {u"unsignedByte", Form::Integer, "0", "255"},
    {u"unsignedShort", Form::Integer, "0", "65535"},
    {u"unsignedInt", Form::Integer, "0", "4294967295"},
    {u"unsignedLong", Form::Integer, "0", "18446744073709551615"},
    {u"integer", Form::Integer, {}, {}},
    {u"nonNegativeInteger", Form::Integer, "0", {}},
    {u"positiveInteger", Form::Integer, "1", {}},
    {u"nonPositiveInteger", Form::Integer, {}, "0"},
    {u"negativeInteger", Form::Integer, {}, "-1"},
    {u"base64Binary", Form::Base64, {}, {}},
    {u"base64", Form::Base64, {}, {}},  // the SOAP encoding's name
    {u"hexBinary", Form::Hex, {}, {}},
    {u"dateTime", Form::DateTime, {}, {}},
    {u"date", Form::Date, {}, {}},
    {u"time", Form::Time, {}, {}},
};

constexpr TypeInfo kText{u"string", Form::Text, {}, {}};

TypeInfo const& Lookup(View name) {
    for (TypeInfo const& type : kTypes) {
        if (type.name == name) {
            return type;
        }
    }
    return kText;
}

bool IsSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r';
}

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

View Trim(View text) {
    while (!text.empty() && IsSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

void AppendAscii(WMString& out, std::string_view text) {
    for (char c : text) {
        out.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
    }
}

// ---- integers of any size, as sign and digits ----

struct Integer {
    bool negative = false;
    std::string digits;  // no leading zeros; "0" for zero, which is never negative
};

template <class Char>
bool ParseInteger(std::basic_string_view<Char> text, Integer& out) {
    std::size_t i = 0;
    out.negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        out.negative = text[i] == '-';
        ++i;
    }
    if (i == text.size()) {
        return false;
    }
    while (i + 1 < text.size() && text[i] == '0') {
        ++i;
    }
    out.digits.clear();
    for (; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
        out.digits.push_back(static_cast<char>(text[i]));
    }
    if (out.digits == "0") {
        out.negative = false;
    }
    return true;
}

int Compare(Integer const& a, Integer const& b) {
    if (a.negative != b.negative) {
        return a.negative ? -1 : 1;
    }
    int magnitude = 0;
    if (a.digits.size() != b.digits.size()) {
        magnitude = a.digits.size() < b.digits.size() ? -1 : 1;
    } else {
        int const c = a.digits.compare(b.digits);
        magnitude = c < 0 ? -1 : (c > 0 ? 1 : 0);
    }
    return a.negative ? -magnitude : magnitude;
}

bool InRange(TypeInfo const& type, Integer const& value) {
    Integer bound;
    if (!type.min.empty() && ParseInteger(type.min, bound) && Compare(value, bound) < 0) {
        return false;
    }
    if (!type.max.empty() && ParseInteger(type.max, bound) && Compare(value, bound) > 0) {
        return false;
    }
    return true;
}

std::string IntegerText(Integer const& value) {
    return value.negative ? "-" + value.digits : value.digits;
}

// ---- floating point ----

// [+-]? (digits [. digits?] | . digits) ([eE] [+-]? digits)?; with `exponent` false, no
// exponent part (the decimal form).
bool IsNumberText(View text, bool exponent) {
    std::size_t i = 0;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
        ++i;
    }
    std::size_t digits = 0;
    while (i < text.size() && IsDigit(text[i])) {
        ++i;
        ++digits;
    }
    if (i < text.size() && text[i] == u'.') {
        ++i;
        while (i < text.size() && IsDigit(text[i])) {
            ++i;
            ++digits;
        }
    }
    if (digits == 0) {
        return false;
    }
    if (exponent && i < text.size() && (text[i] == u'e' || text[i] == u'E')) {
        ++i;
        if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
            ++i;
        }
        std::size_t const start = i;
        while (i < text.size() && IsDigit(text[i])) {
            ++i;
        }
        if (i == start) {
            return false;
        }
    }
    return i == text.size();
}

// For a checked number text too large or too small for the type: true when its magnitude is
// above one (so it overflows rather than underflows).
bool MagnitudeAboveOne(std::string_view text) {
    std::size_t i = text.find_first_of("123456789");
    std::size_t const mark = text.find_first_of("eE");
    std::size_t const point = text.find('.');
    std::size_t const mantissaEnd = mark == std::string_view::npos ? text.size() : mark;
    // Decimal exponent of the first significant digit in the mantissa.
    long long scale = 0;
    std::size_t const intEnd =
        point == std::string_view::npos || point > mantissaEnd ? mantissaEnd : point;
    if (i < intEnd) {
        scale = static_cast<long long>(intEnd - i - 1);
    } else {
        scale = -static_cast<long long>(i - intEnd);
    }
    if (mark != std::string_view::npos) {
        std::size_t k = mark + 1;
        bool negative = false;
        if (k < text.size() && (text[k] == '+' || text[k] == '-')) {
            negative = text[k] == '-';
            ++k;
        }
        long long exponent = 0;
        for (; k < text.size() && exponent < 100000000; ++k) {
            exponent = exponent * 10 + (text[k] - '0');
        }
        scale += negative ? -exponent : exponent;
    }
    return scale >= 0;
}

// ASCII letters only.
bool EqualsIgnoringCase(View text, View word) {
    if (text.size() != word.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        char16_t a = text[i];
        char16_t b = word[i];
        a = a >= u'A' && a <= u'Z' ? static_cast<char16_t>(a + 32) : a;
        b = b >= u'A' && b <= u'Z' ? static_cast<char16_t>(b + 32) : b;
        if (a != b) {
            return false;
        }
    }
    return true;
}

template <class T>
bool ParseFloating(View text, bool exponent, T& out) {
    if (exponent) {
        // XML Schema spells them INF and NaN; writers also send NAN, inf or Infinity, whose
        // meaning is just as clear.
        View word = text;
        bool const negative = !word.empty() && word.front() == u'-';
        if (!word.empty() && (word.front() == u'+' || negative)) {
            word.remove_prefix(1);
        }
        if (EqualsIgnoringCase(word, u"INF") || EqualsIgnoringCase(word, u"Infinity")) {
            out =
                negative ? -std::numeric_limits<T>::infinity() : std::numeric_limits<T>::infinity();
            return true;
        }
        if (EqualsIgnoringCase(text, u"NaN")) {
            out = std::numeric_limits<T>::quiet_NaN();
            return true;
        }
    }
    if (!IsNumberText(text, exponent)) {
        return false;
    }
    std::string ascii;
    ascii.reserve(text.size());
    for (char16_t c : text) {
        ascii.push_back(static_cast<char>(c));
    }
    std::string_view number(ascii);
    bool const negative = number.front() == '-';
    if (number.front() == '+' || negative) {
        number.remove_prefix(1);
    }
    T value{};
    auto const result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        // Past the type's range a value rounds to infinity or to zero.
        value = MagnitudeAboveOne(number) ? std::numeric_limits<T>::infinity() : T(0);
    } else if (result.ec != std::errc() || result.ptr != number.data() + number.size()) {
        return false;
    }
    out = negative ? -value : value;
    return true;
}

template <class T>
void AppendShortest(T value, WMString& out) {
    if (std::isnan(value)) {
        out.append(u"NaN");
        return;
    }
    if (std::isinf(value)) {
        out.append(value < 0 ? u"-INF" : u"INF");
        return;
    }
    char buffer[64];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value);
    AppendAscii(out, std::string_view(buffer, static_cast<std::size_t>(result.ptr - buffer)));
}

// The shortest digits that read back as `value`, written without an exponent: 1e300 is a one and
// 300 zeros, not the double's exact expansion, which a fixed-notation conversion would give.
bool AppendDecimal(double value, WMString& out) {
    if (!std::isfinite(value)) {
        return false;
    }
    char buffer[64];
    auto const result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
    std::string_view text(buffer, static_cast<std::size_t>(result.ptr - buffer));
    if (text.front() == '-') {
        out.push_back(u'-');
        text.remove_prefix(1);
    }
    std::size_t const mark = text.find('e');
    std::string digits;
    for (char c : text.substr(0, mark)) {
        if (c != '.') {
            digits.push_back(c);
        }
    }
    int exponent = 0;
    std::string_view const power = text.substr(mark + 1);
    std::from_chars(power.data() + (power.front() == '+' ? 1 : 0), power.data() + power.size(),
                    exponent);
    // Digits before the point.
    long const point = static_cast<long>(exponent) + 1;
    long const count = static_cast<long>(digits.size());
    std::string plain;
    if (point <= 0) {
        plain = "0." + std::string(static_cast<std::size_t>(-point), '0') + digits;
    } else if (point >= count) {
        plain = digits + std::string(static_cast<std::size_t>(point - count), '0');
    } else {
        plain = digits.substr(0, static_cast<std::size_t>(point)) + "." +
                digits.substr(static_cast<std::size_t>(point));
    }
    AppendAscii(out, plain);
    return true;
}

// A decimal text without sign, leading zeros of the integer part or trailing zeros of the
// fraction ("-007.50" is "-7.5").
WMString CanonicalDecimal(View text) {
    WMString out;
    if (!text.empty() && (text.front() == u'+' || text.front() == u'-')) {
        if (text.front() == u'-') {
            out.push_back(u'-');
        }
        text.remove_prefix(1);
    }
    View integer = text.substr(0, text.find(u'.'));
    View fraction = integer.size() < text.size() ? text.substr(integer.size() + 1) : View();
    while (integer.size() > 1 && integer.front() == u'0') {
        integer.remove_prefix(1);
    }
    while (!fraction.empty() && fraction.back() == u'0') {
        fraction.remove_suffix(1);
    }
    out.append(integer.empty() ? View(u"0") : integer);
    if (!fraction.empty()) {
        out.push_back(u'.');
        out.append(fraction);
    }
    return out;
}

// True when `number`, written back, gives the decimal `text` again: a double then carries the
// value exactly, otherwise only the text does.
bool HoldsExactly(View text, double number) {
    WMString written;
    return AppendDecimal(number, written) && CanonicalDecimal(written) == CanonicalDecimal(text);
}

// ---- binary ----

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Base64Digit(char16_t c) {
    if (c >= u'A' && c <= u'Z') {
        return c - u'A';
    }
    if (c >= u'a' && c <= u'z') {
        return c - u'a' + 26;
    }
    if (c >= u'0' && c <= u'9') {
        return c - u'0' + 52;
    }
    if (c == u'+') {
        return 62;
    }
    if (c == u'/') {
        return 63;
    }
    return -1;
}

// Whitespace anywhere is skipped: encoders wrap long texts into lines.
bool DecodeBase64(View text, WMString& out, WMString& reason) {
    WMString symbols;
    symbols.reserve(text.size());
    for (char16_t c : text) {
        if (!IsSpace(c)) {
            symbols.push_back(c);
        }
    }
    if (symbols.size() % 4 != 0) {
        reason = u"base64 text whose length is not a multiple of four";
        return false;
    }
    std::size_t padding = 0;
    while (padding < 2 && padding < symbols.size() &&
           symbols[symbols.size() - 1 - padding] == u'=') {
        ++padding;
    }
    out.clear();
    out.reserve(symbols.size() / 4 * 3);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < symbols.size() - padding; ++i) {
        int const digit = Base64Digit(symbols[i]);
        if (digit < 0) {
            reason = u"a character that is not base64";
            return false;
        }
        group = (group << 6) | static_cast<std::uint32_t>(digit);
        if (i % 4 == 3) {
            out.push_back(static_cast<char16_t>((group >> 16) & 0xFF));
            out.push_back(static_cast<char16_t>((group >> 8) & 0xFF));
            out.push_back(static_cast<char16_t>(group & 0xFF));
            group = 0;
        }
    }
    if (padding == 2) {
        if ((group & 0xF) != 0) {
            reason = u"base64 text with stray bits before its padding";
            return false;
        }
        out.push_back(static_cast<char16_t>(group >> 4));
    } else if (padding == 1) {
        if ((group & 0x3) != 0) {
            reason = u"base64 text with stray bits before its padding";
            return false;
        }
        out.push_back(static_cast<char16_t>((group >> 10) & 0xFF));
        out.push_back(static_cast<char16_t>((group >> 2) & 0xFF));
    }
    return true;
}

bool EncodeBase64(WMString const& bytes, WMString& out) {
    for (char16_t c : bytes) {
        if (c > 0xFF) {
            return false;
        }
    }
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        std::uint32_t const group =
            (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        for (int shift = 18; shift >= 0; shift -= 6) {
            out.push_back(static_cast<char16_t>(kBase64[(group >> shift) & 0x3F]));
        }
    }
    std::size_t const rest = bytes.size() - i;
    if (rest > 0) {
        std::uint32_t group = std::uint32_t{bytes[i]} << 16;
        if (rest == 2) {
            group |= std::uint32_t{bytes[i + 1]} << 8;
        }
        out.push_back(static_cast<char16_t>(kBase64[(group >> 18) & 0x3F]));
        out.push_back(static_cast<char16_t>(kBase64[(group >> 12) & 0x3F]));
        out.push_back(rest == 2 ? static_cast<char16_t>(kBase64[(group >> 6) & 0x3F]) : u'=');
        out.push_back(u'=');
    }
    return true;
}

int HexDigit(char16_t c) {
    if (c >= u'0' && c <= u'9') {
        return c - u'0';
    }
    if (c >= u'A' && c <= u'F') {
        return c - u'A' + 10;
    }
    if (c >= u'a' && c <= u'f') {
        return c - u'a' + 10;
    }
    return -1;
}

bool DecodeHex(View text, WMString& out, WMString& reason) {
    if (text.size() % 2 != 0) {
        reason = u"an odd number of hex digits";
        return false;
    }
    out.clear();
    out.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        int const high = HexDigit(text[i]);
        int const low = HexDigit(text[i + 1]);
        if (high < 0 || low < 0) {
            reason = u"a character that is not a hex digit";
            return false;
        }
        out.push_back(static_cast<char16_t>(high * 16 + low));
    }
    return true;
}

bool EncodeHex(WMString const& bytes, WMString& out) {
    constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    for (char16_t c : bytes) {
        if (c > 0xFF) {
            return false;
        }
        out.push_back(kDigits[c >> 4]);
        out.push_back(kDigits[c & 0xF]);
    }
    return true;
}

// ---- dates and times ----

// Exactly `count` digits at `i`.
bool Digits(View text, std::size_t& i, std::size_t count, int& value) {
    if (text.size() - i < count) {
        return false;
    }
    value = 0;
    for (std::size_t k = 0; k < count; ++k, ++i) {
        if (!IsDigit(text[i])) {
            return false;
        }
        value = value * 10 + (text[i] - u'0');
    }
    return true;
}

bool Expect(View text, std::size_t& i, char16_t c) {
    if (i < text.size() && text[i] == c) {
        ++i;
        return true;
    }
    return false;
}

// -?YYYY-MM-DD, a year of four or more digits (no leading zero beyond four).
bool DatePart(View text, std::size_t& i) {
    Expect(text, i, u'-');
    std::size_t const start = i;
    long long year = 0;
    while (i < text.size() && IsDigit(text[i])) {
        if (year < 100000000000LL) {
            year = year * 10 + (text[i] - u'0');
        }
        ++i;
    }
    std::size_t const yearDigits = i - start;
    if (yearDigits < 4 || (yearDigits > 4 && text[start] == u'0')) {
        return false;
    }
    int month = 0;
    int day = 0;
    if (!Expect(text, i, u'-') || !Digits(text, i, 2, month) || !Expect(text, i, u'-') ||
        !Digits(text, i, 2, day)) {
        return false;
    }
    if (month < 1 || month > 12 || day < 1) {
        return false;
    }
    // The proleptic Gregorian calendar: year 0 exists and is a leap year; negative years
    // repeat the cycle.
    bool const leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int const last = month == 2 && leap ? 29 : kDays[month - 1];
    return day <= last;
}

// hh:mm:ss[.s+], 24:00:00 allowed for the end of a day.
bool TimePart(View text, std::size_t& i) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (!Digits(text, i, 2, hour) || !Expect(text, i, u':') || !Digits(text, i, 2, minute) ||
        !Expect(text, i, u':') || !Digits(text, i, 2, second)) {
        return false;
    }
    bool fractionZero = true;
    if (Expect(text, i, u'.')) {
        std::size_t const start = i;
        while (i < text.size() && IsDigit(text[i])) {
            fractionZero = fractionZero && text[i] == u'0';
            ++i;
        }
        if (i == start) {
            return false;
        }
    }
    if (hour == 24) {
        return minute == 0 && second == 0 && fractionZero;
    }
    return hour < 24 && minute < 60 && second < 60;
}

// Nothing, "Z" or +hh:mm / -hh:mm up to 14:00.
bool ZonePart(View text, std::size_t& i) {
    if (i == text.size()) {
        return true;
    }
    if (Expect(text, i, u'Z')) {
        return i == text.size();
    }
    if (text[i] != u'+' && text[i] != u'-') {
        return false;
    }
    ++i;
    int hour = 0;
    int minute = 0;
    if (!Digits(text, i, 2, hour) || !Expect(text, i, u':') || !Digits(text, i, 2, minute)) {
        return false;
    }
    return i == text.size() && minute < 60 && (hour < 14 || (hour == 14 && minute == 0));
}

bool IsDateText(Form form, View text) {
    std::size_t i = 0;
    switch (form) {
        case Form::DateTime:
            return DatePart(text, i) && Expect(text, i, u'T') && TimePart(text, i) &&
                   ZonePart(text, i);
        case Form::Date:
            return DatePart(text, i) && ZonePart(text, i);
        case Form::Time:
            return TimePart(text, i) && ZonePart(text, i);
        default:
            return false;
    }
}

bool ParseBoolean(View text, bool& out) {
    if (text == u"true" || text == u"1") {
        out = true;
        return true;
    }
    if (text == u"false" || text == u"0") {
        out = false;
        return true;
    }
    return false;
}

// An integer of the type: a long when it fits 32 bits, otherwise its digits.
void StoreInteger(Integer const& value, WMSOAPStructMember& result) {
    Integer const low{true, "2147483648"};
    Integer const high{false, "2147483647"};
    if (Compare(value, low) >= 0 && Compare(value, high) <= 0) {
        std::int64_t number = 0;
        for (char digit : value.digits) {
            number = number * 10 + (digit - '0');
        }
        result.SetValue(static_cast<std::int32_t>(value.negative ? -number : number));
    } else {
        WMString digits;
        AppendAscii(digits, IntegerText(value));
        result.SetValue(digits);
    }
}

bool WriteInteger(TypeInfo const& type, Integer const& value, WMString& out) {
    if (!InRange(type, value)) {
        return false;
    }
    AppendAscii(out, IntegerText(value));
    return true;
}

bool WriteLongOrDouble(TypeInfo const& type, WMSOAPStructMember& value, WMString& out) {
    char buffer[400];
    std::to_chars_result printed{};
    if (value.GetDataType() == DataType::SOAP_LONG) {
        printed = std::to_chars(buffer, buffer + sizeof buffer, value.LongValue());
    } else {
        double const number = value.DoubleValue();
        if (!std::isfinite(number) || std::trunc(number) != number) {
            return false;
        }
        // Zero is written without its sign.
        printed = std::to_chars(buffer, buffer + sizeof buffer, number == 0 ? 0.0 : number,
                                std::chars_format::fixed, 0);
    }
    Integer parsed;
    ParseInteger(std::string_view(buffer, static_cast<std::size_t>(printed.ptr - buffer)), parsed);
    return WriteInteger(type, parsed, out);
}

}  // namespace

bool ReadStandardValue(View typeName, View text, WMSOAPStructMember& result, WMString& reason) {
    TypeInfo const& type = Lookup(typeName);
    if (type.form == Form::Text) {
        result.SetValue(WMString(text));
        return true;
    }
    View const value = Trim(text);
    switch (type.form) {
        case Form::Boolean: {
            bool flag = false;
            if (!ParseBoolean(value, flag)) {
                reason = u"not true, false, 1 or 0";
                return false;
            }
            result.SetValue(flag ? 1 : 0);
            return true;
        }
        case Form::Float: {
            float number = 0;
            if (!ParseFloating(value, true, number)) {
                reason = u"not a number";
                return false;
            }
            result.SetValue(static_cast<double>(number));
            return true;
        }
        case Form::Double:
        case Form::Decimal: {
            double number = 0;
            // A decimal should have no exponent, but some writers give one to large values;
            // the value is still clear.
            if (!ParseFloating(value, type.form == Form::Double, number) &&
                !(type.form == Form::Decimal && IsNumberText(value, true) &&
                  ParseFloating(value, true, number))) {
                reason = u"not a number";
                return false;
            }
            if (type.form == Form::Decimal && IsNumberText(value, false) &&
                !HoldsExactly(value, number)) {
                result.SetValue(WMString(value));
                return true;
            }
            result.SetValue(number);
            return true;
        }
        case Form::Integer: {
            Integer number;
            if (!ParseInteger(value, number)) {
                reason = u"not a whole number";
                return false;
            }
            if (!InRange(type, number)) {
                reason = u"out of range";
                return false;
            }
            StoreInteger(number, result);
            return true;
        }
        case Form::Base64:
        case Form::Hex: {
            WMString bytes;
            if (type.form == Form::Base64 ? !DecodeBase64(value, bytes, reason)
                                          : !DecodeHex(value, bytes, reason)) {
                return false;
            }
            result.SetValue(bytes);
            return true;
        }
        case Form::DateTime:
        case Form::Date:
        case Form::Time:
            if (!IsDateText(type.form, value)) {
                reason = type.form == Form::DateTime ? u"not a date and time"
                         : type.form == Form::Date   ? u"not a date"
                                                     : u"not a time of day";
                return false;
            }
            result.SetValue(WMString(value));
            return true;
        case Form::Text:
            break;
    }
    return true;
}

void ThrowBadValue(View typeName, View text, View element, View faultCode, WMString const& reason) {
    // The text is quoted, shortened: a fault should not echo a megabyte back.
    constexpr std::size_t kShown = 40;
    WMString message = u"Element '";
    message.append(element);
    message.append(u"': \"");
    message.append(text.substr(0, kShown));
    if (text.size() > kShown) {
        message.append(u"...");
    }
    message.append(u"\" is not a valid ");
    message.append(typeName);
    message.append(u" (");
    message.append(reason);
    message.append(u").");
    throw new WMSOAPFault(WMString(faultCode), message, false);
}

bool WriteStandardValue(View typeName, WMSOAPStructMember& value, WMString& out) {
    TypeInfo const& type = Lookup(typeName);
    DataType const kind = value.GetDataType();
    if (kind != DataType::SOAP_LONG && kind != DataType::SOAP_DOUBLE &&
        kind != DataType::SOAP_STRING) {
        return false;
    }
    bool const isString = kind == DataType::SOAP_STRING;
    bool const isLong = kind == DataType::SOAP_LONG;
    switch (type.form) {
        case Form::Text:
            if (isString) {
                out.append(value.StringValue());
            } else if (isLong) {
                AppendAscii(out, std::to_string(value.LongValue()));
            } else {
                AppendShortest(value.DoubleValue(), out);
            }
            return true;
        case Form::Boolean: {
            bool flag = false;
            if (isString) {
                if (!ParseBoolean(Trim(value.StringValue()), flag)) {
                    return false;
                }
            } else {
                flag = isLong ? value.LongValue() != 0 : value.DoubleValue() != 0;
            }
            out.append(flag ? u"true" : u"false");
            return true;
        }
        case Form::Float: {
            float number = 0;
            if (isString) {
                if (!ParseFloating(Trim(value.StringValue()), true, number)) {
                    return false;
                }
            } else {
                number = isLong ? static_cast<float>(value.LongValue())
                                : static_cast<float>(value.DoubleValue());
            }
            AppendShortest(number, out);
            return true;
        }
        case Form::Double: {
            double number = 0;
            if (isString) {
                if (!ParseFloating(Trim(value.StringValue()), true, number)) {
                    return false;
                }
            } else {
                number = isLong ? value.LongValue() : value.DoubleValue();
            }
            AppendShortest(number, out);
            return true;
        }
        case Form::Decimal:
            if (isString) {
                // A text keeps every digit the caller gave: decimals beyond a double's precision
                // go out exactly.
                View const text = Trim(value.StringValue());
                if (!IsNumberText(text, false)) {
                    return false;
                }
                out.append(text);
                return true;
            }
            if (isLong) {
                AppendAscii(out, std::to_string(value.LongValue()));
                return true;
            }
            return AppendDecimal(value.DoubleValue(), out);
        case Form::Integer:
            if (isString) {
                Integer number;
                return ParseInteger(Trim(value.StringValue()), number) &&
                       WriteInteger(type, number, out);
            }
            return WriteLongOrDouble(type, value, out);
        case Form::Base64:
            return isString && EncodeBase64(value.StringValue(), out);
        case Form::Hex:
            return isString && EncodeHex(value.StringValue(), out);
        case Form::DateTime:
        case Form::Date:
        case Form::Time: {
            if (isString) {
                View const text = Trim(value.StringValue());
                if (!IsDateText(type.form, text)) {
                    return false;
                }
                out.append(text);
                return true;
            }
            if (isLong) {
                return false;
            }
            std::string text;
            DateForm const form = type.form == Form::DateTime ? DateForm::DateTime
                                  : type.form == Form::Date   ? DateForm::Date
                                                              : DateForm::Time;
            if (!AutomationDateText(value.DoubleValue(), form, text)) {
                return false;
            }
            AppendAscii(out, text);
            return true;
        }
    }
    return false;
}

namespace {

View Unquoted(View action) {
    if (action.size() >= 2 && action.front() == u'"' && action.back() == u'"') {
        action.remove_prefix(1);
        action.remove_suffix(1);
    }
    return action;
}

}  // namespace

bool StandardActionMatches(WMString const& expected, WMString const& received,
                           WMString const& methodNS, WMString const& method) {
    View const got = Unquoted(received);
    return got.empty() || got == Unquoted(expected) ||
           (got.size() == methodNS.size() + 1 + method.size() &&
            got.substr(0, methodNS.size()) == methodNS && got[methodNS.size()] == u'#' &&
            got.substr(methodNS.size() + 1) == method);
}

}  // namespace corvane::detail
