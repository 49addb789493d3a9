#include <corvane/codec.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "support/support.h"

namespace {

using corvane::test::Narrow;
using corvane::test::ReadTable;
using corvane::test::TableRow;
using corvane::test::Unescape;
using corvane::test::Widen;

TEST(WMHexCode, EncodeAppendsUpperCaseDigits) {
    WMHexCode hex;
    unsigned char const bytes[] = {0x00, 0xAB, 0x5F};
    WMString out = u"x:";
    EXPECT_TRUE(hex.Encode(bytes, 2, out));
    EXPECT_EQ(out, u"x:00AB");
    EXPECT_TRUE(hex.Encode(bytes, 0, out));
    EXPECT_TRUE(hex.Encode(bytes, -3, out));
    EXPECT_EQ(out, u"x:00AB");
    WMHexCode copy(hex);
    WMString more;
    EXPECT_TRUE(copy.Encode(bytes + 2, 1, more));
    EXPECT_EQ(more, u"5F");
}

// Decodes into bytes set to EE: "ok" or "failed", the length, and the first three bytes.
std::string Decoded(WMString const& text) {
    unsigned char out[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    int length = -1;
    bool const ok = WMHexCode().Decode(text, out, length);
    char shown[32];
    std::snprintf(shown, sizeof shown, "%s %d %02X%02X%02X", ok ? "ok" : "failed", length, out[0],
                  out[1], out[2]);
    return shown;
}

TEST(WMHexCode, DecodeSizesDecodesAndKeepsEarlierBytesOnFailure) {
    EXPECT_EQ(Decoded(u"00FF"), "ok 2 00FFEE");
    EXPECT_EQ(Decoded(u""), "ok 0 EEEEEE");
    // Only the low byte of a character counts: U+0141 reads as "A", U+0142 as "B".
    EXPECT_EQ(Decoded(u"\u0141\u0142"), "ok 1 ABEEEE");
    EXPECT_EQ(Decoded(u"120aff"), "failed 3 12EEEE");
    EXPECT_EQ(Decoded(u"ABC"), "failed -1 EEEEEE");  // an odd count is not even sized
    EXPECT_EQ(Decoded(u"0aff"), "failed 2 EEEEEE");
    EXPECT_EQ(Decoded(WMString(u"\0\0", 2)), "failed 1 EEEEEE");
    int length = -1;
    EXPECT_TRUE(WMHexCode().Decode(u"00FF7A", nullptr, length));
    EXPECT_EQ(length, 3);
}

// Lays out `message` so that Update(data, message.size()), called with `buffered` bytes already
// in the block buffer, digests exactly `message`: the part filling the buffer comes from the start
// of the text and each later 64-byte block starts 64 wide characters after the one before.
WMString Layout(std::string const& message, std::size_t buffered) {
    std::size_t const count = message.size();
    WMString text(count, u'\0');
    auto* bytes = reinterpret_cast<unsigned char*>(&text[0]);
    std::size_t const room = 64 - buffered;
    if (count < room) {
        std::memcpy(bytes, message.data(), count);
        return text;
    }
    std::memcpy(bytes, message.data(), room);
    std::size_t position = room;
    while (position + 63 < count) {
        std::memcpy(bytes + 2 * position, message.data() + position, 64);
        position += 64;
    }
    std::memcpy(bytes + 2 * position, message.data() + position, count - position);
    return text;
}

WMString Digest(std::string const& message, std::size_t split) {
    WMMD5 md5;
    std::string const first = message.substr(0, split);
    std::string const second = message.substr(split);
    WMString a = Layout(first, 0);
    md5.Update(a.data(), first.size());
    WMString b = Layout(second, first.size() % 64);
    md5.Update(b.data(), second.size());
    WMString out;
    md5.FinalizeHexEncoded(out);
    return out;
}

TEST(WMMD5, DigestsOfTheTableThroughTheWideLayout) {
    for (TableRow const& row : ReadTable("expected/text/md5.txt")) {
        std::string const message = Narrow(Unescape(row.input));
        // Whole, and split so that the second call starts with a partly filled buffer.
        for (std::size_t split : {std::size_t{0}, message.size() / 3, std::size_t{55},
                                  std::size_t{56}, std::size_t{130}, message.size()}) {
            if (split <= message.size()) {
                EXPECT_EQ(Digest(message, split), Widen(row.expected)) << row.where << " " << split;
            }
        }
    }
}

TEST(WMMD5, FinalizeRestartsCopiesAreIndependentAndTheCountIsOfBytes) {
    WMMD5 md5;
    unsigned long digest[4] = {};
    md5.Finalize(digest);
    unsigned long const empty[4] = {0xD98C1DD4ul, 0x04B2008Ful, 0x980980E9ul, 0x7E42F8ECul};
    EXPECT_EQ(std::memcmp(digest, empty, sizeof digest), 0);
    md5.Finalize(digest);
    EXPECT_EQ(std::memcmp(digest, empty, sizeof digest), 0);

    WMString abc = Layout("abc", 0);
    md5.Update(abc.data(), 1);
    WMMD5 copy(md5);
    md5.Update(abc.data() + 1, 0);
    WMString bc = Layout("bc", 1);
    copy.Update(bc.data(), 2);
    WMString a, b;
    md5.FinalizeHexEncoded(a);
    copy.FinalizeHexEncoded(b);
    EXPECT_EQ(a, u"0CC175B9C0F1B6A831C399E269772661");
    EXPECT_EQ(b, u"900150983CD24FB0D6963F7D28E17F72");
    WMMD5 assigned;
    assigned = copy;  // freshly restarted
    assigned.FinalizeHexEncoded(a);
    EXPECT_EQ(a, u"D41D8CD98F00B204E9800998ECF8427E");

    // The count is of bytes of the wide text: three characters counted as three bytes digest
    // "a", 0, "b" on a little-endian machine.
    assigned.Update(u"abc", 3);
    assigned.FinalizeHexEncoded(a);
    EXPECT_EQ(a, u"70350F6027BCE3713F6B76473084309B");
}

}  // namespace
