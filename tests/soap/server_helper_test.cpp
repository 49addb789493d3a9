#include <corvane/server.h>
#include <corvane/wsdl.h>

#include <gtest/gtest.h>

#include "soap/deserializer_test_util.h"
#include "soap/server_text.h"

namespace {

using corvane::AppendUTF8;
using corvane::DecodeHTTPText;

TEST(ServerText, DecodesUTF8AndFallsBackToLatin1) {
    EXPECT_EQ(DecodeHTTPText("a\xC3\xA9\xE2\x82\xAC"), u"a\u00E9\u20AC");
    // Above U+FFFF: a surrogate pair.
    EXPECT_EQ(DecodeHTTPText("\xF0\x9F\x98\x80"), u"\U0001F600");
    // Not UTF-8 as a whole: every byte is one character, the valid sequences included.
    EXPECT_EQ(DecodeHTTPText("\xC3\xA9 caf\xE9"), u"\u00C3\u00A9 caf\u00E9");
    EXPECT_EQ(DecodeHTTPText("\xC0\xAF"), u"\u00C0\u00AF");            // over-long "/"
    EXPECT_EQ(DecodeHTTPText("\xED\xA0\x80"), u"\u00ED\u00A0\u0080");  // encoded surrogate
    EXPECT_EQ(DecodeHTTPText("\xF4\x90\x80\x80"), u"\u00F4\u0090\u0080\u0080");  // > U+10FFFF
    EXPECT_EQ(DecodeHTTPText("ab\xE2\x82"), u"ab\u00E2\u0082");                  // cut short
    EXPECT_EQ(DecodeHTTPText(std::string("a\0b", 3)), WMString(u"a\0b", 3));
}

TEST(ServerText, EncodesPairsAndReplacesLoneSurrogates) {
    std::string out = "x";
    AppendUTF8(u"\u00E9\U0001F600", out);
    EXPECT_EQ(out, "x\xC3\xA9\xF0\x9F\x98\x80");
    out.clear();
    AppendUTF8(WMString(u"\xD800"
                        u"a\xDC00"),
               out);
    EXPECT_EQ(out,
              "\xEF\xBF\xBD"
              "a\xEF\xBF\xBD");
}

bool Contains(std::string const& text, std::string const& part) {
    return text.find(part) != std::string::npos;
}

TEST(ServerCall, EchoesAStringInUTF8) {
    WMSOAPServerCall call(deser_test::Round2Base());
    // Corvane's own client sends ISO-8859-1 bytes: E9 is read as e-acute and answered as UTF-8.
    ASSERT_TRUE(call.ReadRequest(
        deser_test::RequestBytes("<m:echoString><inputString>caf\xE9</inputString></m:echoString>"),
        "\"http://\""));
    EXPECT_EQ(call.GetMethodName(), u"echoString");
    WMSOAPStructMember value;
    ASSERT_TRUE(call.GetParam(u"inputString", value));
    EXPECT_EQ(value.StringValue(), u"caf\u00E9");
    EXPECT_FALSE(call.GetParam(u"outputString", value));
    ASSERT_TRUE(call.SetReturnValue(value));

    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 200);
    EXPECT_TRUE(Contains(body, "<m:echoStringResponse"));
    EXPECT_TRUE(Contains(body, ">caf\xC3\xA9</outputString>"));
    // The input part is not an output part and is not echoed under its own name.
    EXPECT_FALSE(Contains(body, "inputString"));
}

TEST(ServerCall, RefusedRequestsAnswerWithTheirFault) {
    struct Case {
        std::string body;
        std::string soapAction;
        std::u16string code;
        std::u16string text;
    };
    std::string const good =
        deser_test::RequestBytes("<m:echoString><inputString>x</inputString></m:echoString>");
    // One of each kind; every fault text of the request side is in fault_delivery_test.cpp.
    Case const cases[] = {
        {good, "", u"SOAP-ENV:Client", u"Unrecognized 'SOAPAction' HTTP header received."},
        {deser_test::RequestBytes(""), "\"http://\"", u"SOAP-ENV:Client",
         u"Unrecognized method call received."},
        {good.substr(0, good.size() - 12), "\"http://\"", u"SOAP-ENV:Server",
         u"XML Parser: Parse Error on Line 1."},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.body + " / " + c.soapAction);
        WMSOAPServerCall call(deser_test::Round2Base());
        EXPECT_FALSE(call.ReadRequest(c.body, c.soapAction));
        EXPECT_EQ(call.GetMessage().GetSOAPFaultCode(), c.code);
        EXPECT_EQ(call.GetMessage().GetSOAPFaultString(), c.text);
        std::string body;
        EXPECT_EQ(call.WriteResponse(body), 500);
        std::string const text(c.text.begin(), c.text.end());
        EXPECT_TRUE(Contains(body, "<faultstring>" + text + "</faultstring>")) << body;
    }
}

TEST(ServerCall, OutputParametersAndReturnValueFollowTheParameterOrder) {
    WMSOAPServerCall call(deser_test::Round2GroupB());
    ASSERT_TRUE(call.ReadRequest(
        deser_test::RequestBytes("<m:echoStructAsSimpleTypes><inputStruct><varString>s</varString>"
                                 "<varInt>3</varInt><varFloat>0.5</varFloat></inputStruct>"
                                 "</m:echoStructAsSimpleTypes>"),
        "\"http://soapinterop.org/\""));
    // Every output part is listed by parameterOrder: there is no return value.
    EXPECT_FALSE(call.SetReturnValue(WMSOAPStructMember(u"x", u"y")));
    EXPECT_TRUE(call.SetOutParam(u"outputInteger", WMSOAPStructMember(u"ignored", 3)));
    EXPECT_TRUE(call.SetOutParam(u"outputString", WMSOAPStructMember(u"", WMString(u"s"))));
    EXPECT_TRUE(call.SetOutParam(u"outputFloat", WMSOAPStructMember(u"", 0.5)));
    EXPECT_FALSE(call.SetOutParam(u"inputStruct", WMSOAPStructMember(u"", 1)));
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 200);
    EXPECT_FALSE(Contains(body, "inputStruct"));
    std::size_t const text = body.find(">s</outputString>");
    std::size_t const integer = body.find(">3</outputInteger>");
    std::size_t const real = body.find(">0.500000</outputFloat>");
    ASSERT_NE(real, std::string::npos);  // the other two then must come before it, in order
    EXPECT_LT(text, integer);
    EXPECT_LT(integer, real);
}

TEST(ServerCall, UnserializableResponseBecomesAServerFault) {
    WMSOAPServerCall call(deser_test::Round2Base());
    ASSERT_TRUE(
        call.ReadRequest(deser_test::RequestBytes("<m:echoStruct><inputStruct><varInt>1</varInt>"
                                                  "</inputStruct></m:echoStruct>"),
                         "\"http://\""));
    WMSOAPStructType wrong;
    wrong.SetMember(u"notAMember", 1);
    ASSERT_TRUE(call.SetReturnValue(WMSOAPStructMember(u"", wrong)));
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 500);
    EXPECT_TRUE(Contains(body, "<faultcode>SOAP-ENV:Server</faultcode>"));
    EXPECT_TRUE(Contains(body, "<faultstring>Unable to serialize RPC response.</faultstring>"));
    EXPECT_FALSE(Contains(body, "echoStructResponse"));
}

TEST(ServerCall, FaultWithoutARequest) {
    WMSOAPServerCall call(deser_test::Round2Base());
    call.SetFault(u"SOAP-ENV:Client", u"Request too large.");
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 500);
    EXPECT_TRUE(Contains(body,
                         "<faultcode>SOAP-ENV:Client</faultcode>"
                         "<faultstring>Request too large.</faultstring>"));
}

}  // namespace
