// The code page conversions take long texts in blocks: every length and position of a unit
// that does not fit one byte must still come out as one unit at a time would. Windows converts
// through the system's ANSI code page instead, so these are the ISO-8859-1 conversions' own.
#ifndef _WIN32
#include <gtest/gtest.h>

#include <string>

#include "platform/codepage.h"

namespace {

namespace platform = corvane::platform;

TEST(CodePageBlocks, EveryByteRoundTripsAtEveryLengthAndOffset) {
    std::string bytes;
    for (int i = 0; i < 3 * 256; ++i) {
        bytes.push_back(static_cast<char>(i * 7 % 256));
    }
    for (std::size_t length : {0u, 1u, 15u, 16u, 17u, 31u, 32u, 33u, 768u}) {
        for (std::size_t offset : {0u, 1u, 5u}) {
            std::string const piece = bytes.substr(offset, length);
            auto const* units = reinterpret_cast<unsigned char const*>(piece.data());
            std::u16string const wide(units, units + piece.size());
            ASSERT_EQ(platform::AnsiToWide(piece), wide) << length << " " << offset;
            EXPECT_EQ(platform::WideToAnsi(wide), piece);
        }
    }
}

TEST(CodePageBlocks, AUnitAboveLatin1BecomesOneQuestionMarkWherever) {
    for (std::size_t length : {1u, 16u, 40u}) {
        for (std::size_t at = 0; at < length; ++at) {
            for (char16_t unit : {u'\u0100', u'\u20AC', u'\uFFFF'}) {
                std::u16string text(length, u'\u00E9');
                text[at] = unit;
                std::string expected(length, '\xE9');
                expected[at] = '?';
                ASSERT_EQ(platform::WideToAnsi(text), expected) << length << " " << at;
            }
        }
    }
}

}  // namespace

#endif
