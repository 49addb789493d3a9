// Built-in values in the standard wire mode: reading each type's texts, writing each kind of
// value under each type, and the round trip between the two.
#include <corvane/values.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "soap/standard_values.h"
#include "support/values.h"

namespace {

using corvane::detail::ReadStandardValue;
using corvane::detail::WriteStandardValue;
using corvane::test::Utf8;
using Kind = WMSOAPStructMember::SOAPDataMember::DATATYPE;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

WMSOAPStructMember Long(std::int32_t v) {
    return WMSOAPStructMember(u"", v);
}
WMSOAPStructMember Double(double v) {
    return WMSOAPStructMember(u"", v);
}
WMSOAPStructMember Text(WMString const& v) {
    return WMSOAPStructMember(u"", v);
}

// Same kind and the very same value: doubles compared bit for bit, so -0 is not 0 and NaN is
// NaN.
bool Same(WMSOAPStructMember a, WMSOAPStructMember b) {
    if (a.GetDataType() != b.GetDataType()) {
        return false;
    }
    switch (a.GetDataType()) {
        case Kind::SOAP_LONG:
            return a.LongValue() == b.LongValue();
        case Kind::SOAP_DOUBLE: {
            double const x = a.DoubleValue();
            double const y = b.DoubleValue();
            return (std::isnan(x) && std::isnan(y)) || std::memcmp(&x, &y, sizeof x) == 0;
        }
        case Kind::SOAP_STRING:
            return a.StringValue() == b.StringValue();
        default:
            return false;
    }
}

std::string Describe(WMSOAPStructMember m) {
    if (m.GetDataType() == Kind::SOAP_DOUBLE) {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.17g", m.DoubleValue());
        return std::string("double ") + buffer;
    }
    return corvane::test::Show(m);
}

WMString AllBytes() {
    WMString bytes;
    for (int i = 0; i < 256; ++i) {
        bytes.push_back(static_cast<char16_t>(i));
    }
    return bytes;
}

struct ReadCase {
    char16_t const* type;
    char16_t const* text;
    bool ok;
    WMSOAPStructMember expected;
};

TEST(StandardRead, EachTypeByItsLexicalForms) {
    ReadCase const cases[] = {
        // Booleans in all four spellings, whitespace collapsed; nothing else.
        {u"boolean", u"true", true, Long(1)},
        {u"boolean", u"1", true, Long(1)},
        {u"boolean", u"0", true, Long(0)},
        {u"boolean", u" true\n", true, Long(1)},
        {u"boolean", u"TRUE", false, {}},
        // Integers: range-checked per type; beyond 32 bits as their canonical digits.
        {u"int", u"+007", true, Long(7)},
        {u"int", u"-2147483648", true, Long(-2147483647 - 1)},
        {u"int", u"2147483648", false, {}},
        {u"int", u"1.0", false, {}},
        {u"long", u"-0", true, Long(0)},
        {u"long", u"9223372036854775807", true, Text(u"9223372036854775807")},
        {u"long", u"-9223372036854775809", false, {}},
        {u"unsignedInt", u"4294967295", true, Text(u"4294967295")},
        {u"unsignedInt", u"-1", false, {}},
        {u"unsignedLong", u"00018446744073709551615", true, Text(u"18446744073709551615")},
        {u"unsignedLong", u"18446744073709551616", false, {}},
        {u"unsignedByte", u"256", false, {}},
        {u"byte", u"-129", false, {}},
        {u"short", u" -32768 ", true, Long(-32768)},
        {u"integer", u"-123456789012345678901234567890", true,
         Text(u"-123456789012345678901234567890")},
        {u"negativeInteger", u"0", false, {}},
        {u"nonNegativeInteger", u"-0", true, Long(0)},
        // Doubles at full precision, the special values as XML Schema spells them, values
        // beyond the range rounded to infinity or zero.
        {u"double", u"0.1", true, Double(0.1)},
        {u"double", u"-0", true, Double(-0.0)},
        {u"double", u"1e300", true, Double(1e300)},
        {u"double", u"5e-324", true, Double(5e-324)},
        {u"double", u".5E+1", true, Double(5)},
        {u"double", u"INF", true, Double(kInf)},
        {u"double", u"NaN", true, Double(kNaN)},
        {u"double", u"1e400", true, Double(kInf)},
        {u"double", u"-1e-400", true, Double(-0.0)},
        {u"double", u"-Infinity", true, Double(-kInf)},
        {u"float", u"NAN", true, Double(kNaN)},
        {u"double", u"-NaN", false, {}},
        {u"double", u"infinit", false, {}},
        {u"double", u"1e", false, {}},
        // Floats at single precision: the float nearest the text, not the double.
        {u"float", u"0.1", true, Double(static_cast<double>(0.1f))},
        {u"float", u"1e39", true, Double(kInf)},
        {u"decimal", u"123.45", true, Double(123.45)},
        {u"decimal", u"+0123.4500", true, Double(123.45)},
        {u"decimal", u"0.10000000000000000555", true, Text(u"0.10000000000000000555")},
        {u"decimal", u"1.0E+3", true, Double(1000)},
        {u"decimal", u"INF", false, {}},
        // Binary decoded to one character per byte; base64 may be wrapped into lines.
        {u"base64Binary", u"SGVs\r\nbG8=", true, Text(u"Hello")},
        {u"base64", u"AP8=", true, Text(WMString(u"\u0000\u00ff", 2))},
        {u"base64Binary", u"SGVsbG8", false, {}},
        {u"base64Binary", u"SGVsbG9=", false, {}},
        {u"base64Binary", u"S*==", false, {}},
        {u"hexBinary", u"0aFF", true, Text(u"\u000a\u00ff")},
        {u"hexBinary", u"ABC", false, {}},
        // Dates and times: checked, kept as written, zone included.
        {u"dateTime", u"2024-02-29T23:59:58.5+05:30", true, Text(u"2024-02-29T23:59:58.5+05:30")},
        {u"dateTime", u" -0044-03-15T12:00:00Z ", true, Text(u"-0044-03-15T12:00:00Z")},
        {u"dateTime", u"2024-01-01T24:00:00Z", true, Text(u"2024-01-01T24:00:00Z")},
        {u"dateTime", u"2023-02-29T00:00:00Z", false, {}},
        {u"dateTime", u"2024-01-01T24:00:01Z", false, {}},
        {u"dateTime", u"2024-01-01T12:00:00+14:01", false, {}},
        {u"dateTime", u"2024-01-01", false, {}},
        {u"date", u"2024-12-31-05:00", true, Text(u"2024-12-31-05:00")},
        {u"time", u"12:30:00.125Z", true, Text(u"12:30:00.125Z")},
        {u"time", u"25:00:00", false, {}},
        // Text types keep every character, surrounding whitespace included.
        {u"string", u" a\r\nb ", true, Text(u" a\r\nb ")},
    };
    for (ReadCase const& c : cases) {
        WMSOAPStructMember got;
        WMString reason;
        bool const ok = ReadStandardValue(c.type, c.text, got, reason);
        std::string const label = Utf8(c.type) + " '" + Utf8(c.text) + "'";
        ASSERT_EQ(c.ok, ok) << label << ": " << Utf8(reason);
        if (ok) {
            EXPECT_TRUE(Same(got, c.expected)) << label << " gave " << Describe(got);
        } else {
            EXPECT_FALSE(reason.empty()) << label;
            EXPECT_EQ(Kind::SOAP_NONE, got.GetDataType()) << label;
        }
    }
}

struct WriteCase {
    char16_t const* type;
    WMSOAPStructMember value;
    char16_t const* text;  // null: refused
};

TEST(StandardWrite, ShortestNumbersAndCanonicalForms) {
    std::u16string const oneE300 = u"1" + std::u16string(300, u'0');
    WriteCase const cases[] = {
        {u"double", Double(0.1), u"0.1"},
        {u"double", Double(1e-9), u"1e-09"},
        {u"double", Double(-0.0), u"-0"},
        {u"double", Double(1e300), u"1e+300"},
        {u"double", Double(5e-324), u"5e-324"},
        {u"double", Double(123456789012.0), u"123456789012"},
        {u"double", Double(kInf), u"INF"},
        {u"double", Double(-kInf), u"-INF"},
        {u"double", Double(kNaN), u"NaN"},
        {u"double", Text(u" 1.50 "), u"1.5"},
        {u"double", Text(u"many"), nullptr},
        // Floats shortest as a float: the double 0.1 goes out as the float 0.1.
        {u"float", Double(0.1), u"0.1"},
        {u"float", Double(3.14159265), u"3.1415927"},
        {u"float", Double(1e-45), u"1e-45"},
        {u"float", Double(1e39), u"INF"},
        // Decimals never take an exponent; a text keeps digits a double cannot hold.
        {u"decimal", Double(1e-9), u"0.000000001"},
        {u"decimal", Double(1e21), u"1000000000000000000000"},
        {u"decimal", Double(1e300), oneE300.c_str()},
        {u"decimal", Double(-1.5e-7), u"-0.00000015"},
        {u"decimal", Double(-0.0), u"-0"},
        {u"decimal", Text(u"12.345678901234567890123"), u"12.345678901234567890123"},
        {u"decimal", Text(u"1e5"), nullptr},
        {u"decimal", Double(kNaN), nullptr},
        {u"boolean", Long(7), u"true"},
        {u"boolean", Double(0.5), u"true"},
        {u"boolean", Text(u"0"), u"false"},
        {u"boolean", Text(u"maybe"), nullptr},
        // Integers: whole and within the type's range, from any kind.
        {u"int", Long(-5), u"-5"},
        {u"int", Double(42.0), u"42"},
        {u"int", Double(-0.0), u"0"},
        {u"int", Double(1.5), nullptr},
        {u"int", Double(3e9), nullptr},
        {u"int", Text(u"+0042"), u"42"},
        {u"unsignedByte", Long(256), nullptr},
        {u"unsignedInt", Long(-1), nullptr},
        {u"unsignedInt", Text(u"4294967295"), u"4294967295"},
        {u"unsignedLong", Double(1e19), u"10000000000000000000"},
        {u"long", Double(1e19), nullptr},
        // Binary from one character per byte; nothing above U+00FF, no numbers.
        {u"base64Binary", Text(u"Hello"), u"SGVsbG8="},
        {u"base64", Text(u"Hi"), u"SGk="},
        {u"base64Binary", Text(u"\u0100"), nullptr},
        {u"base64Binary", Long(1), nullptr},
        {u"hexBinary", Text(u"\u000a\u00ff"), u"0AFF"},
        {u"hexBinary", Text(u"\u20ac"), nullptr},
        // Dates: a text is checked and kept; an automation date goes out in UTC.
        {u"dateTime", Double(36526.5), u"2000-01-01T12:00:00Z"},
        {u"dateTime", Text(u"2024-02-29T23:59:58.5+05:30"), u"2024-02-29T23:59:58.5+05:30"},
        {u"dateTime", Text(u"yesterday"), nullptr},
        {u"dateTime", Long(5), nullptr},
        {u"dateTime", Double(1e7), nullptr},
        {u"time", Double(36526.5), u"12:00:00Z"},
        {u"string", Long(42), u"42"},
        {u"string", Double(0.1), u"0.1"},
        {u"string", Text(u"a\rb"), u"a\rb"},
        {u"string", WMSOAPStructMember(u"", WMSOAPStructType()), nullptr},
    };
    for (WriteCase const& c : cases) {
        WMSOAPStructMember value = c.value;
        WMString out;
        bool const ok = WriteStandardValue(c.type, value, out);
        std::string const label = Utf8(c.type) + " " + Describe(c.value);
        ASSERT_EQ(c.text != nullptr, ok) << label << " wrote '" << Utf8(out) << "'";
        if (ok) {
            EXPECT_EQ(Utf8(c.text), Utf8(out)) << label;
        }
    }
}

// What is written reads back as the very same value, so an echo returns what it got.
void ExpectRoundTrip(char16_t const* type, WMSOAPStructMember value) {
    WMString text;
    ASSERT_TRUE(WriteStandardValue(type, value, text)) << Utf8(type) << " " << Describe(value);
    WMSOAPStructMember back;
    WMString reason;
    ASSERT_TRUE(ReadStandardValue(type, text, back, reason))
        << Utf8(type) << " '" << Utf8(text) << "': " << Utf8(reason);
    EXPECT_TRUE(Same(value, back)) << Utf8(type) << " " << Describe(value) << " came back as "
                                   << Describe(back) << " through '" << Utf8(text) << "'";
}

TEST(StandardRoundTrip, EdgeValuesOfEachType) {
    double const doubles[] = {0.1,
                              -0.0,
                              1e300,
                              5e-324,
                              kInf,
                              -kInf,
                              kNaN,
                              std::numeric_limits<double>::max(),
                              std::numeric_limits<double>::min(),
                              1.0 / 3,
                              -123.456,
                              9007199254740993.0};
    for (double d : doubles) {
        ExpectRoundTrip(u"double", Double(d));
        ExpectRoundTrip(u"float", Double(static_cast<double>(static_cast<float>(d))));
        if (std::isfinite(d)) {
            ExpectRoundTrip(u"decimal", Double(d));
        }
    }
    for (char16_t const* type : {u"base64Binary", u"hexBinary", u"base64"}) {
        ExpectRoundTrip(type, Text(AllBytes()));
        for (std::size_t n = 0; n < 4; ++n) {  // every padding
            ExpectRoundTrip(type, Text(AllBytes().substr(250, n)));
        }
    }
}

TEST(StandardRoundTrip, RandomDoublesAndFloats) {
    std::mt19937_64 random(15);
    for (int i = 0; i < 20000; ++i) {
        std::uint64_t const bits = random();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        ExpectRoundTrip(u"double", Double(d));
        std::uint32_t const low = static_cast<std::uint32_t>(bits);
        float f;
        std::memcpy(&f, &low, sizeof f);
        ExpectRoundTrip(u"float", Double(static_cast<double>(f)));
        if (HasFailure()) {
            return;
        }
    }
}

}  // namespace
