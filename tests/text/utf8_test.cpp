#include <corvane/utf8.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <utility>

namespace {

std::string Encode(WMChar c) {
    char buf[8] = {};
    int n = WideCharToUTF8(buf, c);
    return std::string(buf, static_cast<std::size_t>(n));
}

TEST(WideCharToUTF8, EncodesByRangeIncludingLoneSurrogates) {
    std::pair<WMChar, std::string> const cases[] = {
        {0x00, std::string(1, '\0')}, {0x7F, "\x7F"},           {0x80, "\xC2\x80"},
        {0xE9, "\xC3\xA9"},           {0x7FF, "\xDF\xBF"},      {0x800, "\xE0\xA0\x80"},
        {0x20AC, "\xE2\x82\xAC"},     {0xD83D, "\xED\xA0\xBD"}, {0xFFFF, "\xEF\xBF\xBF"}};
    for (auto const& [c, utf8] : cases) {
        EXPECT_EQ(Encode(c), utf8) << c;
    }
    EXPECT_EQ(WideCharToUTF8(nullptr, u'a'), 0);
}

struct Decoded {
    int used;
    WMChar c;
};

Decoded Decode(char const* in) {
    WMChar c = 0x5A5A;  // sentinel: must survive every failure
    int used = UTF8ToWideChar(&c, in);
    return {used, c};
}

TEST(UTF8ToWideChar, DecodesEveryLengthAndCutsLargeValuesTo16Bits) {
    // The five- and six-byte forms hold 0x200001 and 0x7FFFFFFF.
    std::pair<char const*, Decoded> const cases[] = {{"A", {1, u'A'}},
                                                     {"\xC3\xA9", {2, 0xE9}},
                                                     {"\xED\xA0\xBD", {3, 0xD83D}},
                                                     {"\xF0\x9F\x98\x80", {4, 0xF600}},
                                                     {"\xF8\x88\x80\x80\x81", {5, 0x0001}},
                                                     {"\xFD\xBF\xBF\xBF\xBF\xBF", {6, 0xFFFF}}};
    for (auto const& [in, want] : cases) {
        EXPECT_EQ(Decode(in).used, want.used) << in;
        EXPECT_EQ(Decode(in).c, want.c) << in;
    }
}

TEST(UTF8ToWideChar, RejectsBadSequencesWithoutWritingTheOutput) {
    char const* bad[] = {
        "\xC0\x80",                  // over-long zero
        "\xE0\x9F\xBF",              // over-long 0x7FF
        "\xF0\x8F\xBF\xBF",          // over-long 0xFFFF
        "\xFC\x83\xBF\xBF\xBF\xBF",  // over-long in six bytes
        "\xC3\x28",                  // second byte is no continuation
        "\xE2\x82",                  // cut short by the terminating zero
        "\x80",                      // continuation byte as lead
        "\xFE\x80\x80\x80\x80\x80\x80",
        "\xFF",
    };
    for (char const* in : bad) {
        Decoded d = Decode(in);
        EXPECT_EQ(d.used, 0) << in;
        EXPECT_EQ(d.c, 0x5A5A) << in;
    }
    WMChar c = 0;
    EXPECT_EQ(UTF8ToWideChar(&c, nullptr), 0);
    EXPECT_EQ(UTF8ToWideChar(nullptr, "a"), 0);
}

TEST(WideStringToUTF8, ZeroUnitsAreCountedButNotAppended) {
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
}

TEST(WideStringToUTF8, SurrogatePairsBecomeTwoThreeByteSequences) {
    WMString text = u"x\U0001F600";
    std::string out;
    EXPECT_EQ(WideStringToUTF8(text, out), 7);
    EXPECT_EQ(out, "x\xED\xA0\xBD\xED\xB8\x80");
    WMString back;
    EXPECT_EQ(UTF8ToWideString(out, back), 3);
    EXPECT_EQ(back, text);
}

TEST(StringConverters, ZeroLengthsReturnZeroAndEmptyTheOutput) {
    std::string narrow = "keep";
    EXPECT_EQ(WideStringToUTF8(u"abc", 0, narrow), 0);
    EXPECT_TRUE(narrow.empty());
    WMString wide = u"keep";
    EXPECT_EQ(UTF8ToWideString("abc", 0, wide), 0);
    EXPECT_TRUE(wide.empty());
    char sentinel = 0;
    char* buf = &sentinel;
    EXPECT_EQ(WideStringToUTF8(u"abc", 0, &buf), 0);
    EXPECT_EQ(buf, &sentinel);  // untouched
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
