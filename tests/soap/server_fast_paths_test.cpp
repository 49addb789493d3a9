// The server helper's fast paths: long texts through the byte conversions (a character that is
// not ASCII at every place around the sixteen-character blocks, against a per-character
// reference), and parameters taken over rather than copied.
#include <corvane/server.h>
#include <corvane/wsdl.h>

#include <gtest/gtest.h>

#include "soap/deserializer_test_util.h"
#include "soap/server_text.h"

#include <string>

namespace {

// The UTF-8 of one BMP character that is not a surrogate.
std::string Utf8Of(char16_t unit) {
    std::string out;
    if (unit < 0x80) {
        out += static_cast<char>(unit);
    } else if (unit < 0x800) {
        out += static_cast<char>(0xC0 | (unit >> 6));
        out += static_cast<char>(0x80 | (unit & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (unit >> 12));
        out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (unit & 0x3F));
    }
    return out;
}

TEST(ServerTextRuns, OtherCharactersAnywhereInLongTexts) {
    for (char16_t const other : {u'\u00E9', u'\u20AC', u'\u007F'}) {
        for (std::size_t at = 0; at < 40; ++at) {
            WMString text;
            std::string utf8;
            for (std::size_t i = 0; i < 41; ++i) {
                char16_t const unit = i == at ? other : static_cast<char16_t>(u'a' + i % 26);
                text += unit;
                utf8 += Utf8Of(unit);
            }
            std::string out = "<";
            corvane::AppendUTF8(text, out);
            EXPECT_EQ(out, "<" + utf8) << "at " << at;
            EXPECT_EQ(corvane::DecodeHTTPText(utf8), text) << "at " << at;
        }
    }
}

TEST(ServerTextRuns, InvalidBytesLateInALongBodyFallBackWhole) {
    std::string bytes(37, 'x');
    bytes += "\xE9";  // ISO-8859-1 e-acute: not UTF-8
    bytes += std::string(20, 'y');
    WMString const text = corvane::DecodeHTTPText(bytes);
    ASSERT_EQ(text.size(), bytes.size());
    EXPECT_EQ(text[37], u'\u00E9');
    EXPECT_EQ(text.back(), u'y');
}

TEST(ServerTextRuns, PairsAndLoneSurrogatesAfterALongRun) {
    WMString text(33, u'a');
    text += u"\U0001F600";
    text += static_cast<char16_t>(0xDC00);
    text += WMString(17, u'b');
    std::string out;
    corvane::AppendUTF8(text, out);
    EXPECT_EQ(out, std::string(33, 'a') + "\xF0\x9F\x98\x80\xEF\xBF\xBD" + std::string(17, 'b'));
}

std::string EchoStructArray(bool take) {
    std::string items;
    for (int i = 0; i < 3; ++i) {
        items += "<item><varString>s" + std::to_string(i) + "</varString><varInt>" +
                 std::to_string(i) + "</varInt><varFloat>0.5</varFloat></item>";
    }
    WMSOAPServerCall call(deser_test::Round2Base());
    EXPECT_TRUE(call.ReadRequest(
        "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:m=\"http://soapinterop.org/\"><e:Body><m:echoStructArray><inputStructArray>" +
            items + "</inputStructArray></m:echoStructArray></e:Body></e:Envelope>",
        "\"http://\""));
    WMSOAPStructMember value;
    if (take) {
        EXPECT_TRUE(call.TakeParam(u"inputStructArray", value));
        WMSOAPStructMember left;
        EXPECT_TRUE(call.GetParam(u"inputStructArray", left));
        EXPECT_TRUE(left.ArrayValue().empty());
        EXPECT_FALSE(call.TakeParam(u"outputStructArray", left));
    } else {
        EXPECT_TRUE(call.GetParam(u"inputStructArray", value));
    }
    EXPECT_EQ(value.ArrayValue().size(), 3u);
    call.SetReturnValue(std::move(value));
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 200);
    return body;
}

TEST(ServerTakeParam, AnswersAsACopyWouldAndLeavesTheParameterEmpty) {
    std::string const taken = EchoStructArray(true);
    EXPECT_EQ(taken, EchoStructArray(false));
    EXPECT_NE(taken.find(">s2</varString>"), std::string::npos) << taken;
}

}  // namespace
