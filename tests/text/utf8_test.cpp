#include <corvane/utf8.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include "support/support.h"

namespace {

using corvane::test::Narrow;
using corvane::test::ReadTable;
using corvane::test::TableRow;
using corvane::test::Unescape;

std::string Encode(WMChar c) {
    char buf[8] = {};
    int n = WideCharToUTF8(buf, c);
    return std::string(buf, static_cast<std::size_t>(n));
}

TEST(CharConverters, EncodeAndDecodeAsTheTableSays) {
    for (TableRow const& row : ReadTable("expected/text/utf8_chars.txt")) {
        if (row.section == "encode") {
            EXPECT_EQ(Encode(Unescape(row.input).at(0)), Narrow(Unescape(row.expected)))
                << row.where;
            continue;
        }
        WMChar c = 0x5A5A;
        int const used = UTF8ToWideChar(&c, Narrow(Unescape(row.input)).c_str());
        std::ostringstream decoded;
        decoded << used << ' ' << std::hex << static_cast<unsigned>(c);
        EXPECT_EQ(decoded.str(), row.expected) << row.where;
    }
    EXPECT_EQ(WideCharToUTF8(nullptr, u'a'), 0);
    WMChar c = 0;
    EXPECT_EQ(UTF8ToWideChar(&c, nullptr), 0);
    EXPECT_EQ(UTF8ToWideChar(nullptr, "a"), 0);
}

TEST(WideStringToUTF8, ZeroUnitsAreCountedButNotAppendedAndZeroLengthsEmptyTheOutput) {
    WMString text(u"a\0b", 3);
    std::string out = "old";
    EXPECT_EQ(WideStringToUTF8(text, out), 3);
    EXPECT_EQ(out, "ab");
    EXPECT_EQ(WideStringToUTF8(text.data(), 3, out), 3);
    EXPECT_EQ(out, "ab");

    for (std::size_t at = 0; at < 12; ++at) {  // a zero in every place of a run of ASCII
        WMString run = u"abcdefghijkl";
        run[at] = u'\0';
        std::string expected = "abcdefghijkl";
        expected.erase(at, 1);
        EXPECT_EQ(WideStringToUTF8(run, out), 12);
        EXPECT_EQ(out, expected);
    }

    // The malloc form copies every encoded byte, the zero included.
    char* buf = nullptr;
    ASSERT_EQ(WideStringToUTF8(text.data(), 3, &buf), 3);
    EXPECT_EQ(std::string(buf, 3), std::string("a\0b", 3));
    std::free(buf);

    // Zero lengths return zero and empty the output; the malloc form leaves its pointer.
    std::string narrow = "keep";
    EXPECT_EQ(WideStringToUTF8(u"abc", 0, narrow), 0);
    EXPECT_TRUE(narrow.empty());
    WMString wide = u"keep";
    EXPECT_EQ(UTF8ToWideString("abc", 0, wide), 0);
    EXPECT_TRUE(wide.empty());
    char sentinel = 0;
    buf = &sentinel;
    EXPECT_EQ(WideStringToUTF8(u"abc", 0, &buf), 0);
    EXPECT_EQ(buf, &sentinel);  // untouched
}

TEST(WideStringToUTF8, SurrogatePairsBecomeTwoThreeByteSequences) {
    std::string out;
    WMString back;
    EXPECT_EQ(WideStringToUTF8(u"x\U0001F600", out), 7);
    EXPECT_EQ(UTF8ToWideString(out, back), 3);
    EXPECT_EQ(out, "x\xED\xA0\xBD\xED\xB8\x80");
    EXPECT_EQ(back, u"x\U0001F600");
}

// The string converters take shortcuts for ASCII runs; every code unit, placed at every offset
// within an 8-byte run, must give what the per-character functions give.
TEST(StringConverters, AgreeWithThePerCharacterFunctions) {
    for (std::uint32_t c = 1; c <= 0xFFFF; c += (c < 0x900 ? 1 : 7)) {
        for (std::size_t offset : {0u, 5u, 7u, 8u, 13u}) {
            WMString text(offset, u'q');
            text += static_cast<WMChar>(c);
            text += u"tail-of-ascii";
            std::string expected;
            for (WMChar u : text) {
                expected += Encode(u);
            }
            std::string utf8;
            ASSERT_EQ(WideStringToUTF8(text, utf8), static_cast<int>(expected.size()));
            ASSERT_EQ(utf8, expected) << c;
            char* buf = nullptr;
            ASSERT_EQ(WideStringToUTF8(text.data(), text.size(), &buf),
                      static_cast<int>(expected.size()));
            ASSERT_EQ(std::string(buf, expected.size()), expected);
            std::free(buf);
            WMString back;
            ASSERT_EQ(UTF8ToWideString(utf8, back), static_cast<int>(text.size()));
            ASSERT_EQ(back, text) << c;
        }
    }
}

// Random bytes in exactly sized buffers (no terminator): under the sanitizers this shows that
// the string decoder never reads past its input, and the result matches the per-character
// decoder run on a zero-terminated copy: it stops at the first bad or cut sequence, keeping
// what came before, and decodes zero bytes to counted zero units.
TEST(UTF8ToWideString, RandomBytesStayWithinTheInput) {
    std::mt19937 random(1234);
    std::uniform_int_distribution<int> lengthOf(1, 24);
    unsigned char const pool[] = {0x00, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC3, 0xDF, 0xE0,
                                  0xE2, 0xED, 0xEF, 0xF0, 0xF8, 0xFC, 0xFE, 0xFF, 0xA9};
    std::uniform_int_distribution<std::size_t> pick(0, sizeof pool - 1);
    for (int round = 0; round < 20000; ++round) {
        std::size_t const length = static_cast<std::size_t>(lengthOf(random));
        auto bytes = std::make_unique<char[]>(length);
        for (std::size_t i = 0; i < length; ++i) {
            bytes[i] = static_cast<char>(pool[pick(random)]);
        }
        WMString out;
        int const result = UTF8ToWideString(bytes.get(), length, out);

        std::string const terminated(bytes.get(), length);
        WMString expected;
        int expectedResult = 0;
        for (std::size_t pos = 0; pos < length;) {
            WMChar c = 0;
            int const used = UTF8ToWideChar(&c, terminated.c_str() + pos);
            if (used == 0) {
                expectedResult = -1;
                break;
            }
            expected += c;
            pos += static_cast<std::size_t>(used);
        }
        ASSERT_EQ(out, expected);
        ASSERT_EQ(result, expectedResult < 0 ? 0 : static_cast<int>(expected.size()));
    }
    // Random bytes seldom make a run of ASCII long enough for the shortcut.
    WMString out;
    EXPECT_EQ(UTF8ToWideString(std::string("0123456789\xC3"), out), 0);
    EXPECT_EQ(out, u"0123456789");
}

}  // namespace
