// Built-in values in the standard wire mode: reading each type's texts, writing each kind of
// value under each type, and the round trip between the two.
#include <corvane/values.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "soap/deserializer_test_util.h"
#include "soap/standard_values.h"
#include "support/support.h"
#include "support/values.h"

namespace {

using corvane::detail::ReadStandardValue;
using corvane::detail::WriteStandardValue;
using corvane::test::AllBytes;
using corvane::test::Difference;
using corvane::test::Show;
using corvane::test::Utf8;
using deser_test::ValueOf;
using Kind = WMSOAPStructMember::SOAPDataMember::DATATYPE;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Rows of one section as type, the other input cell, and the expected cell.
std::vector<std::array<std::string, 3>> Rows(std::string const& section) {
    std::vector<std::array<std::string, 3>> rows;
    for (auto const& row : corvane::test::ReadTable("expected/soap/standard_values.txt")) {
        std::size_t const bar = row.input.find('|');
        if (row.section == section && bar != std::string::npos) {
            rows.push_back({row.input.substr(0, bar), row.input.substr(bar + 1), row.expected});
        }
        EXPECT_NE(std::string::npos, bar) << row.where;
    }
    EXPECT_GT(rows.size(), 40u) << section;
    return rows;
}

TEST(StandardRead, EachTypeByItsLexicalForms) {
    for (auto const& [typeCell, textCell, expected] : Rows("read")) {
        WMString const type = corvane::test::Unescape(typeCell);
        WMString const text = corvane::test::Unescape(textCell);
        WMSOAPStructMember got;
        WMString reason;
        bool const ok = ReadStandardValue(type, text, got, reason);
        std::string const label = typeCell + " '" + textCell + "'";
        ASSERT_EQ(expected != "refused", ok) << label << ": " << Utf8(reason);
        if (ok) {
            EXPECT_EQ("", Difference(ValueOf(expected), got, label));
        } else {
            EXPECT_FALSE(reason.empty()) << label;
            EXPECT_EQ(Kind::SOAP_NONE, got.GetDataType()) << label;
        }
    }
}

TEST(StandardWrite, ShortestNumbersAndCanonicalForms) {
    for (auto const& [typeCell, valueCell, expected] : Rows("write")) {
        WMSOAPStructMember value = ValueOf(valueCell);
        WMString out;
        bool const ok = WriteStandardValue(corvane::test::Unescape(typeCell), value, out);
        std::string const label = typeCell + " " + valueCell;
        ASSERT_EQ(expected != "refused", ok) << label << " wrote '" << Utf8(out) << "'";
        if (ok) {
            EXPECT_EQ(Utf8(corvane::test::Unescape(expected)), Utf8(out)) << label;
        }
    }
}

// What is written reads back as the very same value, so an echo returns what it got.
void ExpectRoundTrip(char16_t const* type, WMSOAPStructMember value) {
    WMString text;
    ASSERT_TRUE(WriteStandardValue(type, value, text)) << Utf8(type) << " " << Show(value, true);
    WMSOAPStructMember back;
    WMString reason;
    ASSERT_TRUE(ReadStandardValue(type, text, back, reason))
        << Utf8(type) << " '" << Utf8(text) << "': " << Utf8(reason);
    EXPECT_EQ("", Difference(value, back, Utf8(type) + " through '" + Utf8(text) + "'"));
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
        ExpectRoundTrip(u"double", {u"", d});
        ExpectRoundTrip(u"float", {u"", static_cast<double>(static_cast<float>(d))});
        if (std::isfinite(d)) {
            ExpectRoundTrip(u"decimal", {u"", d});
        }
    }
    for (char16_t const* type : {u"base64Binary", u"hexBinary", u"base64"}) {
        ExpectRoundTrip(type, {u"", AllBytes()});
        for (std::size_t n = 0; n < 4; ++n) {  // every padding
            ExpectRoundTrip(type, {u"", AllBytes().substr(250, n)});
        }
    }
}

TEST(StandardRoundTrip, RandomDoublesAndFloats) {
    std::mt19937_64 random(15);
    for (int i = 0; i < 20000; ++i) {
        std::uint64_t const bits = random();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        ExpectRoundTrip(u"double", {u"", d});
        std::uint32_t const low = static_cast<std::uint32_t>(bits);
        float f;
        std::memcpy(&f, &low, sizeof f);
        ExpectRoundTrip(u"float", {u"", static_cast<double>(f)});
        if (HasFailure()) {
            return;
        }
    }
}

}  // namespace
