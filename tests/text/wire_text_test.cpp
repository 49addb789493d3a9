// The standard wire mode's UTF-8 both ways: every length of sequence, at every position across
// the bounds of the blocks markup is taken in, and where each refusal points.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "text/wire_text.h"

namespace corvane::detail {
namespace {

TEST(WireText, EncodesAndDecodesEverySequenceLength) {
    struct Case {
        WMString text;
        std::string bytes;
    };
    const Case cases[] = {
        {u"", ""},
        {u"a\u007f", "a\x7f"},
        {u"\u0080\u07ff", "\xC2\x80\xDF\xBF"},
        {u"\u0800\ud7ff\ue000\uffff", "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {u"Gr\u00fc\u00dfe \u6771\u4eac \U0001F600!",
         "Gr\xC3\xBC\xC3\x9F"
         "e \xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x98\x80!"},
    };
    std::vector<Case> all(std::begin(cases), std::end(cases));
    // Runs of markup are taken whole blocks at a time: a character of each encoded length at
    // every position across two blocks' bounds.
    for (const Case& one : {Case{u"\u00e9", "\xC3\xA9"}, Case{u"\u6771", "\xE6\x9D\xB1"},
                            Case{u"\U0001F600", "\xF0\x9F\x98\x80"}}) {
        for (std::size_t n = 0; n < 40; ++n) {
            all.push_back({WMString(n, u'a') + one.text + WMString(40 - n, u'b'),
                           std::string(n, 'a') + one.bytes + std::string(40 - n, 'b')});
        }
    }
    for (const Case& c : all) {
        std::string bytes = "left over";
        std::size_t bad = 99;
        ASSERT_TRUE(EncodeUtf8(c.text, bytes, bad));
        EXPECT_EQ(bytes, c.bytes);
        WMString text = u"left over";
        std::string error;
        ASSERT_TRUE(DecodeText(c.bytes, "utf-8", text, error)) << error;
        EXPECT_EQ(text, c.text);
    }
}

TEST(WireText, RefusalsNameTheirPosition) {
    const std::pair<WMString, std::size_t> unpaired[] = {
        {WMString(u"ab") + u'\xD800', 2},
        {WMString(u"a") + u'\xDC00' + u"b", 1},
        {WMString(u"\U0001F600") + u'\xD83D' + u'\xD83D' + u'\xDE00', 2},
        {WMString(37, u'x') + u'\xDC00' + WMString(20, u'y'), 37},  // deep in a block
    };
    for (const auto& [text, position] : unpaired) {
        std::string bytes;
        std::size_t bad = 0;
        EXPECT_FALSE(EncodeUtf8(text, bytes, bad));
        EXPECT_EQ(bad, position);
    }
    const std::pair<std::string, std::size_t> invalid[] = {
        {"ab\x80", 2},           {"a\xC0\xAF", 1},
        {"\xE0\x80\xAF", 0},     {"ok\xED\xA0\x80", 2},
        {"\xF4\x90\x80\x80", 0}, {"abc\xE6\x9D", 3},
        {"\xF8\x88\x80\x80", 0}, {"x\xC3(", 1},
        {"0123456789\xFF", 10},  {std::string(37, 'x') + "\x80" + std::string(20, 'y'), 37},
    };
    for (const auto& [bytes, position] : invalid) {
        WMString text;
        std::string error;
        EXPECT_FALSE(DecodeText(bytes, "", text, error));
        EXPECT_EQ(error,
                  "The answer is not valid UTF-8 (at byte " + std::to_string(position) + ").");
        EXPECT_TRUE(text.empty());
    }
}

}  // namespace
}  // namespace corvane::detail
