// The server helper's fast paths: UTF-8 a word at a time, parameters edited in place, a return
// value taken over. Each must give what the plain way gives.
#include <corvane/server.h>
#include <corvane/wsdl.h>

#include <gtest/gtest.h>

#include "soap/deserializer_test_util.h"
#include "soap/server_text.h"
#include "text/wire_text.h"

#include <random>
#include <string>
#include <utility>

namespace {

// The plain conversion: each lone half of a pair as U+FFFD, then the wire mode's strict encoder,
// which goes one character at a time.
std::string PlainUTF8(WMString text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const half = text[i] >= 0xD800 && text[i] <= 0xDFFF;
        if (half && text[i] <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            ++i;
        } else if (half) {
            text[i] = 0xFFFD;
        }
    }
    std::string out;
    std::size_t bad = 0;
    EXPECT_TRUE(corvane::detail::EncodeUtf8(text, out, bad)) << bad;
    return out;
}

// Texts of ASCII runs of every length across the first blocks of sixteen units, broken by one
// odd unit: two- and three-byte characters, a pair, a pair split by the end of a word, lone
// halves, the top of the 7-bit range. Long tails put the odd unit inside a whole later block.
TEST(ServerTextWords, AgreesWithThePlainConversionAtEveryOffset) {
    WMString const odd[] = {
        u"\u00E9", u"\u20AC", u"\U0001F600", WMString(1, u'\xD800'), WMString(1, u'\xDC00'),
        u"\u007F", u"\u0080", u"\uFFFF"};
    for (std::size_t before = 0; before <= 40; ++before) {
        for (WMString const& unit : odd) {
            for (std::size_t after : {0, 1, 7, 8, 9, 17}) {
                WMString const text = WMString(before, u'a') + unit + WMString(after, u'<');
                SCOPED_TRACE(before);
                std::string out = "prefix";
                corvane::AppendUTF8(text, out);
                EXPECT_EQ(out, "prefix" + PlainUTF8(text));
                if (unit.size() != 1 || unit[0] < 0xD800 || unit[0] > 0xDFFF) {
                    // Whatever UTF-8 carries comes back whole.
                    EXPECT_EQ(corvane::DecodeHTTPText(PlainUTF8(text)), text);
                }
            }
        }
    }
}

TEST(ServerTextWords, RandomTextsAgreeWithThePlainConversion) {
    std::mt19937 random(7);
    // Mostly ASCII, as markup is, with every kind of unit now and then.
    std::uniform_int_distribution<int> pick(0, 99);
    for (int round = 0; round < 300; ++round) {
        WMString text;
        int const length = pick(random) * 3;
        for (int i = 0; i < length; ++i) {
            int const kind = pick(random);
            text += kind < 85   ? static_cast<char16_t>(0x20 + kind)
                    : kind < 90 ? u'\u00FC'
                    : kind < 94 ? u'\u4E2D'
                    : kind < 97 ? u'\xD83D'
                                : u'\xDE00';
        }
        std::string out;
        corvane::AppendUTF8(text, out);
        ASSERT_EQ(out, PlainUTF8(text)) << round;
    }
}

// A body that is not UTF-8 as a whole is read one character per byte, also when the bad byte
// follows a run long enough to have been copied a word at a time.
TEST(ServerTextWords, ABadByteAfterALongRunMakesTheWholeBodyLatin1) {
    std::string const run(19, 'x');
    WMString const latin = WMString(19, u'x') + u"\u00C3\u00A9\u00E9" + WMString(9, u'y');
    EXPECT_EQ(corvane::DecodeHTTPText(run + "\xC3\xA9\xE9" + std::string(9, 'y')), latin);
    EXPECT_EQ(corvane::DecodeHTTPText(run + "\xC3"), WMString(19, u'x') + u"\u00C3");
    EXPECT_EQ(corvane::DecodeHTTPText(run + "\xC3\xA9" + std::string(9, 'y')),
              WMString(19, u'x') + u"\u00E9" + WMString(9, u'y'));
    // The bad byte in the third block.
    EXPECT_EQ(corvane::DecodeHTTPText(std::string(37, 'x') + "\xE9" + std::string(20, 'y')),
              WMString(37, u'x') + u"\u00E9" + WMString(20, u'y'));
}

std::string StructArrayRequest(int n) {
    std::string items;
    for (int i = 0; i < n; ++i) {
        items += "<item><varString>s" + std::to_string(i) + "</varString><varInt>" +
                 std::to_string(i) + "</varInt><varFloat>0.5</varFloat></item>";
    }
    return deser_test::RequestBytes(
        "<m:echoStructArray><inputStructArray "
        "xmlns:a=\"http://schemas.xmlsoap.org/soap/encoding/\" "
        "xmlns:s=\"http://soapinterop.org/xsd\" a:arrayType=\"s:SOAPStruct[" +
        std::to_string(n) + "]\">" + items + "</inputStructArray></m:echoStructArray>");
}

// Taking the value over, copying it, and taking the parameter over (an extension) all answer
// the same bytes; reading does not empty the parameter, taking it does.
TEST(ServerCallInPlace, ReturnValueTakenOverOrCopiedAnswersAlike) {
    std::string answers[3];
    for (int mode = 0; mode < 3; ++mode) {
        WMSOAPServerCall call(deser_test::Round2Base());
        ASSERT_TRUE(call.ReadRequest(StructArrayRequest(40), "\"http://\""));
        WMSOAPStructMember first;
        WMSOAPStructMember second;
        if (mode == 2) {
            ASSERT_TRUE(call.TakeParam(u"inputStructArray", first));
            ASSERT_TRUE(call.GetParam(u"inputStructArray", second));
            EXPECT_TRUE(second.ArrayValue().empty());
            EXPECT_FALSE(call.TakeParam(u"outputStructArray", second));
        } else {
            ASSERT_TRUE(call.GetParam(u"inputStructArray", first));
            ASSERT_TRUE(call.GetParam(u"inputStructArray", second));
            EXPECT_EQ(second.ArrayValue().size(), 40u);
        }
        EXPECT_EQ(first.ArrayValue().size(), 40u);
        ASSERT_TRUE(mode ? call.SetReturnValue(std::move(first)) : call.SetReturnValue(first));
        EXPECT_EQ(call.WriteResponse(answers[mode]), 200);
    }
    EXPECT_EQ(answers[0], answers[1]);
    EXPECT_EQ(answers[0], answers[2]);
    EXPECT_NE(answers[0].find(">s39</varString>"), std::string::npos);
    EXPECT_EQ(answers[0].find("inputStructArray"), std::string::npos);
}

// An output parameter set twice keeps the last value; the input-only parameter before it is
// dropped from the answer without disturbing the order of the rest.
TEST(ServerCallInPlace, OutParamSetTwiceKeepsTheLast) {
    WMSOAPServerCall call(deser_test::Round2GroupB());
    ASSERT_TRUE(call.ReadRequest(
        "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:m=\"http://soapinterop.org/\"><e:Body><m:echoStructAsSimpleTypes><inputStruct>"
        "<varString>s</varString><varInt>3</varInt><varFloat>0.5</varFloat></inputStruct>"
        "</m:echoStructAsSimpleTypes></e:Body></e:Envelope>",
        "\"http://soapinterop.org/\""));
    EXPECT_TRUE(call.SetOutParam(u"outputInteger", WMSOAPStructMember(u"", 1)));
    EXPECT_TRUE(call.SetOutParam(u"outputInteger", WMSOAPStructMember(u"", 2)));
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 200);
    EXPECT_NE(body.find(">2</outputInteger>"), std::string::npos) << body;
    EXPECT_EQ(body.find(">1</outputInteger>"), std::string::npos);
    EXPECT_EQ(body.find("inputStruct"), std::string::npos);
}

}  // namespace
