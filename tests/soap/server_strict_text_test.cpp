// The standard mode's strict conversions on the server: no replacement character when writing,
// and byte order marks honoured when reading.
#include <corvane/server.h>
#include <corvane/wire.h>

#include <gtest/gtest.h>

#include "soap/deserializer_test_util.h"
#include "soap/server_text.h"

namespace {

TEST(ServerStrictText, AnswersStopAtALoneSurrogate) {
    std::string out = "x";
    EXPECT_TRUE(corvane::AppendStrictUTF8(u"\u00E9\U0001F600", out));
    EXPECT_EQ(out, "x\xC3\xA9\xF0\x9F\x98\x80");
    // A lone surrogate after a long ASCII run and after a pair: nothing is appended.
    for (WMString const& bad : {WMString(40, u'a') + u'\xDC00', WMString(u"\U0001F600\xD800")}) {
        out = "x";
        EXPECT_FALSE(corvane::AppendStrictUTF8(bad, out));
        EXPECT_EQ(out, "x");
    }
}

TEST(ServerStrictText, StandardCallsReadBodiesWithAByteOrderMark) {
    WMWireOptions wire;
    wire.standard = true;
    std::string const plain = deser_test::RequestBytes(
        "<m:echoString><inputString>caf&#xE9;</inputString></m:echoString>");
    std::string utf16 = "\xFF\xFE";
    for (char c : plain) {
        utf16 += c;
        utf16 += '\0';
    }
    for (std::string const& body : {"\xEF\xBB\xBF" + plain, utf16}) {
        WMSOAPServerCall call(deser_test::Round2Base());
        call.SetWireOptions(wire);
        ASSERT_TRUE(call.ReadRequest(body, "http://"));
        WMSOAPStructMember value;
        ASSERT_TRUE(call.GetParam(u"inputString", value));
        EXPECT_EQ(value.StringValue(), u"caf\u00E9");
    }
}

}  // namespace
