// UTF-8 both ways over texts long enough for whole blocks of markup: a character of each
// encoded length at every position across two blocks' bounds.
#include <gtest/gtest.h>

#include <string>

#include "text/wire_text.h"

namespace corvane::detail {
namespace {

TEST(WireTextBlocks, OtherCharactersAtEveryPositionRoundTrip) {
    const std::pair<WMString, std::string> others[] = {
        {u"\u00e9", "\xC3\xA9"}, {u"\u6771", "\xE6\x9D\xB1"}, {u"\U0001F600", "\xF0\x9F\x98\x80"}};
    for (const auto& [unit, bytes] : others) {
        for (std::size_t n = 0; n < 40; ++n) {
            const WMString text = WMString(n, u'a') + unit + WMString(40 - n, u'b');
            const std::string expected = std::string(n, 'a') + bytes + std::string(40 - n, 'b');
            std::string encoded;
            std::size_t bad = 0;
            ASSERT_TRUE(EncodeUtf8(text, encoded, bad));
            EXPECT_EQ(encoded, expected) << n;
            WMString decoded;
            std::string error;
            ASSERT_TRUE(DecodeText(expected, "utf-8", decoded, error)) << error;
            EXPECT_EQ(decoded, text) << n;
        }
    }
    // A refusal deep in a block still names its own position.
    std::string encoded;
    std::size_t bad = 0;
    EXPECT_FALSE(EncodeUtf8(WMString(37, u'x') + u'\xDC00' + WMString(20, u'y'), encoded, bad));
    EXPECT_EQ(bad, 37u);
    WMString decoded;
    std::string error;
    EXPECT_FALSE(
        DecodeText(std::string(37, 'x') + "\x80" + std::string(20, 'y'), "", decoded, error));
    EXPECT_NE(error.find("37"), std::string::npos) << error;
}

}  // namespace
}  // namespace corvane::detail
