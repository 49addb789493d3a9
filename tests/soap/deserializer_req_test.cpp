// The server side: requests read through WMSOAPMessage::Deserialize and ProcessRPC.
#include <gtest/gtest.h>

#include <string>

#include "soap/deserializer_test_util.h"

using namespace deser_test;

namespace {

WMSOAPWSDLClient& Calc() {
    return Wsdl("../deserializer/calc.wsdl", u"Calc", u"CalcPort");
}

WMString CalcRequest(std::string const& method, std::string const& params,
                     std::string const& header = std::string()) {
    return Envelope("<m:" + method + " xmlns:m='urn:calc'>" + params + "</m:" + method + ">",
                    header);
}

TEST(RequestCaptures, ClientRequestsDecodeOnTheServerSide) {
    struct Case {
        char const* file;
        char const* params;
    } const cases[] = {
        {"base/echoString.xml", "inputString<=\"Hello <world> & \"peers\"\""},
        {"base/echoInteger.xml", "inputInteger<=-42"},
        {"base/echoFloat.xml", "inputFloat<=1.5"},
        {"base/echoStruct.xml", "inputStruct<={varString=\"struct text\",varInt=7,varFloat=0.25}"},
        {"base/echoStructArray.xml",
         "inputStructArray<=[{item={varString=\"first\",varInt=1,varFloat=1}},"
         "{item={varString=\"second\",varInt=2,varFloat=2.5}}]"},
        {"base/echoVoid.xml", ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.file);
        WMSOAPMessage message;
        auto const thrown = DecodeRequest(message, Round2Base(), u"\"http://\"",
                                          ReadText(std::string("../peers/requests/") + c.file));
        ASSERT_FALSE(thrown) << thrown->code << " " << thrown->text;
        EXPECT_EQ(Narrow(message.GetMethodNS()), "http://soapinterop.org/");
        EXPECT_EQ(ShowParams(message), c.params);
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

    // The client's request with several out parts listed in parameterOrder.
    WMSOAPMessage groupB;
    ASSERT_FALSE(DecodeRequest(groupB, Round2GroupB(), u"\"http://soapinterop.org/\"",
                               ReadText("../peers/requests/groupB/echoStructAsSimpleTypes.xml")));
    EXPECT_EQ(ShowParams(groupB),
              "inputStruct<={varString=\"split me\",varInt=12,varFloat=3.25} "
              "outputString>=\"\" outputInteger>=0 outputFloat>=0");
}

TEST(RequestFaults, MethodActionAndParameterChecks) {
    struct Case {
        char const* action;
        std::string method;
        std::string params;
        char const* code;
        char const* text;
    } const cases[] = {
        {"\"urn:calc#add\"", "add", "<x href='#none'/>", "SOAP-ENV:Server",
         "Parameter: 'x' has invalid reference."},
        {"\"\"", "echo", "<pairs SOAP-ENC:arrayType='xsd:int[1]'><i>1</i></pairs>",
         "SOAP-ENV:Server", "Failed to convert parameter: 'pairs' in Request Body."},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.params);
        WMSOAPMessage message;
        auto const thrown =
            DecodeRequest(message, Calc(), Wide(c.action), CalcRequest(c.method, c.params));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, c.code);
        EXPECT_EQ(thrown->text, c.text);
    }
    // Unknown parameters, actions and methods, and a missing method element, are in
    // tests/soap/fault_delivery_test.cpp.
}

TEST(RequestHeaders, EncodedLiteralAndFaults) {
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

    struct Case {
        char const* header;
        char const* code;
        char const* text;
    } const cases[] = {
        {"<h:token xmlns:h='urn:hdr' xsi:type='xsd:string'>1</h:token>", "SOAP-ENV:Client",
         "Header entry: 'token' explicit typing conflicts with definition in WSDL file."},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.header);
        WMSOAPMessage faulty;
        auto const thrown = DecodeRequest(faulty, Calc(), u"\"urn:calc#add\"",
                                          CalcRequest("add", "<x>1</x>", c.header));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, c.code);
        EXPECT_EQ(thrown->text, c.text);
    }
}

TEST(RequestReuse, ASecondRequestOnTheSameMessageIsReadSafely) {
    // The request tree is not reset between requests: the second method element is an
    // independent element and the first request's parameters are read again.
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"",
                               CalcRequest("add", "<x>1</x><y>2</y>")));
    ASSERT_TRUE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"", u"<broken"));
    message.ClearMethodParams();
    ASSERT_FALSE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"",
                               CalcRequest("add", "<x>5</x><y>6</y>")));
    EXPECT_EQ(ShowParams(message), "x<=5 carry>=0 y<=6 note>={}");
}

}  // namespace
