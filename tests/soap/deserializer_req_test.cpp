// The server side: requests read through WMSOAPMessage::Deserialize and ProcessRPC.
#include <gtest/gtest.h>

#include <string>

#include "soap/deserializer_test_util.h"

using namespace deser_test;

namespace {

WMString CalcRequest(std::string const& method, std::string const& params,
                     std::string const& header = std::string()) {
    return Envelope("<m:" + method + " xmlns:m='urn:calc'>" + params + "</m:" + method + ">",
                    header);
}

TEST(RequestCaptures, ClientRequestsDecodeOnTheServerSide) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/requests.txt")) {
        SCOPED_TRACE(row.where);
        WMSOAPMessage message;
        auto const thrown = DecodeRequest(message, Round2Base(), u"\"http://\"",
                                          ReadText("../peers/requests/" + row.input));
        ASSERT_FALSE(thrown) << thrown->code << " " << thrown->text;
        EXPECT_EQ(Narrow(message.GetMethodNS()), "http://soapinterop.org/");
        EXPECT_EQ(ShowParams(message), row.expected);
    }
}

TEST(RequestParameters, OutOnlyPlaceholdersTakeTheirParameterOrderPlaces) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"",
                               CalcRequest("add", "<x>1</x><y>2</y>")));
    EXPECT_EQ(Narrow(message.GetMethodName()), "add");
    EXPECT_EQ(Narrow(message.GetMethodNS()), "urn:calc");
    // "sum" is the return value, filled by the server; "carry" and "note" are placeholders.
    EXPECT_EQ(ShowParams(message), "x<=1 carry>=0 y<=2 note>={}");

    // The request tree is not reset between requests: a second request on the same message,
    // after a broken one, reads its own parameters (its method element is an independent
    // element, and the first request's parameters are read again).
    ASSERT_TRUE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"", u"<broken"));
    message.ClearMethodParams();
    ASSERT_FALSE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"",
                               CalcRequest("add", "<x>5</x><y>6</y>")));
    EXPECT_EQ(ShowParams(message), "x<=5 carry>=0 y<=6 note>={}");

    // The client's request with several out parts listed in parameterOrder.
    WMSOAPMessage groupB;
    ASSERT_FALSE(DecodeRequest(groupB, Round2GroupB(), u"\"http://soapinterop.org/\"",
                               ReadText("../peers/requests/groupB/echoStructAsSimpleTypes.xml")));
    EXPECT_EQ(ShowParams(groupB),
              "inputStruct<={varString=\"split me\",varInt=12,varFloat=3.25} "
              "outputString>=\"\" outputInteger>=0 outputFloat>=0");
}

TEST(RequestHeaders, EncodedAndLiteralEntries) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeRequest(
        message, Calc(), u"\"urn:calc#add\"",
        CalcRequest("add", "<x>1</x><y>2</y>",
                    "<h:token xmlns:h='urn:hdr' SOAP-ENV:mustUnderstand='1'>77</h:token>"
                    "<h:free xmlns:h='urn:hdr' SOAP-ENC:root='0'>x</h:free>")));
    WMSOAPStructMember value;
    ASSERT_TRUE(message.GetHeaderElem(u"urn:hdr", u"token", value));
    EXPECT_EQ(Show(value), "77");
    WMString xml;
    ASSERT_TRUE(message.GetHeaderElemLit(u"urn:hdr", u"free", xml));
    EXPECT_NE(Narrow(xml).find(">x</h:free>"), std::string::npos);
}

}  // namespace
