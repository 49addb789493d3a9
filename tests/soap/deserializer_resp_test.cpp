// Envelopes read through WMSOAPMessage::Deserialize and ProcessRPC: responses as the client
// reads them, then requests as a server does.
#include <gtest/gtest.h>

#include <string>

#include "soap/deserializer_test_util.h"

using namespace deser_test;

namespace {

TEST(ResponseCaptures, PeerAnswersDecodeToTheValuesSent) {
    for (corvane::test::TableRow const& row :
         corvane::test::ReadTable("expected/soap/captures.txt")) {
        SCOPED_TRACE(row.where);
        std::size_t const space = row.input.find(' ');
        std::size_t const bar = row.expected.find(" | ");
        WMSOAPWSDLClient& wsdl =
            row.section == "round2_groupB" ? Round2GroupB()
            : row.section == "round2_base_ssl"
                ? Wsdl("../../peers/php/round2_base_ssl.wsdl", u"InteropTest", u"InteropTestPort")
                : Round2Base();
        // A peer's answer decodes without a fault to the return value and out-parameters.
        WMSOAPMessage message;
        auto const thrown = DecodeResponse(message, wsdl, Wide(row.input.substr(space + 1)),
                                           ReadText("peers/" + row.input.substr(0, space)));
        ASSERT_FALSE(thrown) << thrown->code << " " << thrown->text;
        EXPECT_FALSE(message.IsSOAPFault());
        EXPECT_EQ(Show(message.GetReturnValue()), row.expected.substr(0, bar));
        EXPECT_EQ(ShowParams(message),
                  bar == std::string::npos ? "" : row.expected.substr(bar + 3));
    }
}

// Answers whose references are checked for shape: a value of the right kind, every reference
// followed. (Two more, with their full values, are in the captures table.)
TEST(ResponseCaptures, MultiReferenceAnswers) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/multiref.txt")) {
        SCOPED_TRACE(row.where);
        WMSOAPMessage message;
        auto const thrown = DecodeResponse(message, Round2Base(), Wide(row.expected),
                                           ReadText("peers/" + row.input));
        ASSERT_FALSE(thrown) << thrown->code << " " << thrown->text;
        std::string const shown = Show(message.GetReturnValue());
        EXPECT_EQ(shown.find("nil"), std::string::npos) << shown;
        EXPECT_NE(shown.find("varString=\""), std::string::npos) << shown;
    }
}

TEST(ResponseFaults, PeerFaultsAreRecordedWithTheirDetail) {
    for (char const* file : {"peers/php/fault.xml", "peers/soaplite/fault.xml"}) {
        SCOPED_TRACE(file);
        WMSOAPMessage message;
        ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoString", ReadText(file)));
        EXPECT_TRUE(message.IsSOAPFault());
        EXPECT_EQ(Narrow(message.GetSOAPFaultString()), "Fault raised on request");
        EXPECT_EQ(Narrow(message.GetSOAPFaultActor()), "http://127.0.0.1/peer-actor");
        EXPECT_EQ(message.GetNumMethodParams(), 0);
        EXPECT_EQ(Show(message.GetReturnValue()), "nil");
        ASSERT_EQ(message.GetNumFaultDetailElems(), 1);
        WMSOAPStructMember value;
        ASSERT_TRUE(message.GetFaultDetailElem(u"http://soapinterop.org/", u"faultDetail", value));
        EXPECT_EQ(Show(value), "{varString=\"raise-fault\",varInt=42,varFloat=0.5}");
    }
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoString",
                                ReadText("peers/php/echoStringLatin1.xml")));
    EXPECT_TRUE(message.IsSOAPFault());
    EXPECT_EQ(Narrow(message.GetSOAPFaultCode()), "SOAP-ENV:Client");
    EXPECT_EQ(Narrow(message.GetSOAPFaultString()), "Bad Request");
}

TEST(ResponseFaults, DocumentThatIsNoEnvelopeIsAnEmptyAnswer) {
    WMSOAPMessage empty;
    EXPECT_FALSE(DecodeResponse(empty, Round2Base(), u"echoString", u"<html><p>x</p></html>"));
    EXPECT_EQ(empty.GetNumMethodParams(), 0);
    WMString body;
    EXPECT_FALSE(empty.GetBodyElemLit(body));
}

TEST(ResponseBody, LiteralBodyCarriesItsEffectiveEncoding) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoInteger",
                                Envelope("<ns1:echoIntegerResponse><r xsi:type='xsd:int'>5</r>"
                                         "</ns1:echoIntegerResponse>")));
    WMString body;
    ASSERT_TRUE(message.GetBodyElemLit(body));
    std::string const text = Narrow(body);
    EXPECT_EQ(text.rfind("<SOAP-ENV:Body SOAP-ENV:encodingStyle="
                         "\"http://schemas.xmlsoap.org/soap/encoding/\"",
                         0),
              0u)
        << text;
    EXPECT_NE(text.find("<r xsi:type=\"xsd:int\">5</r>"), std::string::npos) << text;
}

TEST(ResponseHeaders, LiteralEncodedAndActorHandling) {
    WMSOAPMessage message;
    message.SetActorURI(u"urn:me");
    std::string const header =
        // Not SOAP-encoded: kept as text, with its mustUnderstand flag and no fault.
        "<h:lit xmlns:h='urn:x' SOAP-ENV:encodingStyle='' SOAP-ENV:mustUnderstand='1'>"
        "<in>t</in></h:lit>"
        // Described by the output header part "status" (xsd:float).
        "<h:status xmlns:h='urn:hdr' "
        "SOAP-ENV:actor='http://schemas.xmlsoap.org/soap/actor/next' "
        "SOAP-ENV:mustUnderstand='true'>2.5</h:status>"
        // Encoded but undescribed: literal as well.
        "<h:other xmlns:h='urn:x'>3</h:other>"
        // A struct described by the part "info".
        "<h:info xmlns:h='urn:hdr' SOAP-ENV:mustUnderstand='1'><a>4</a><b>four</b></h:info>";
    ASSERT_FALSE(DecodeResponse(message, Calc(), u"add",
                                Envelope("<m:addResponse xmlns:m='urn:calc'/>", header)));
    // "true" does not set mustUnderstand; the actor ".../next" becomes the message's own; the
    // effective encoding is written onto the kept literal element.
    ExpectDump(message, "LiteralEncodedAndActorHandling");
}

// The faults of header entries are in tests/soap/fault_delivery_test.cpp.
TEST(ResponseHeaders, ReferenceIntoTheBodyResolves) {
    // A base64 type meets any other base64 type.
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeResponse(message, Calc(), u"add",
                                Envelope("<m:addResponse xmlns:m='urn:calc'/><v id='v1'>7.5</v>",
                                         "<h:status xmlns:h='urn:hdr' href='#v1'/>")));
    WMSOAPStructMember value;
    ASSERT_TRUE(message.GetHeaderElem(u"urn:hdr", u"status", value));
    EXPECT_EQ(Show(value), "7.5");
}

TEST(ResponseFaults, FaultHeadersAndDescribedDetails) {
    WMSOAPMessage message;
    std::string const body =
        "<SOAP-ENV:Fault><faultcode>SOAP-ENV:Server</faultcode><faultstring>big</faultstring>"
        "<detail><overflow><a>9</a><b>nine</b></overflow><note xsi:type='xsd:int'>3</note>"
        "</detail></SOAP-ENV:Fault>";
    // In a fault answer the header part is looked up among the header faults.
    ASSERT_FALSE(DecodeResponse(message, Calc(), u"add",
                                Envelope(body, "<h:token xmlns:h='urn:hdr'>12</h:token>")));
    // "note" is undescribed and read by its own type.
    ExpectDump(message, "FaultHeadersAndDescribedDetails");
}

TEST(ResponseParameters, ReturnValueAndOutParametersByParameterOrder) {
    // "sum" is not in parameterOrder: the return value. "carry" and "note" are listed.
    WMSOAPMessage message;
    ASSERT_FALSE(
        DecodeResponse(message, Calc(), u"add",
                       Envelope("<m:addResponse xmlns:m='urn:calc'><sum>5</sum><carry>1</carry>"
                                "<note><a>1</a><b>x</b></note></m:addResponse>")));
    EXPECT_EQ(Show(message.GetReturnValue()), "5");
    EXPECT_EQ(ShowParams(message), "carry>=1 note>={a=1,b=\"x\"}");
    // A first child that is a listed parameter is no return value.
    WMSOAPMessage listed;
    ASSERT_FALSE(DecodeResponse(listed, Calc(), u"add",
                                Envelope("<m:addResponse xmlns:m='urn:calc'><carry>1</carry>"
                                         "<sum>5</sum></m:addResponse>")));
    EXPECT_EQ(Show(listed.GetReturnValue()), "nil");
    EXPECT_EQ(ShowParams(listed), "carry>=1 sum>=5");
}

TEST(ResponseReuse, EachResponseStartsFromAFreshTree) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoInteger",
                                ReadText("peers/php/echoInteger.xml")));
    ASSERT_TRUE(DecodeResponse(message, Round2Base(), u"echoInteger", u"<a>"));
    ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoString",
                                ReadText("peers/soaplite/echoString.xml")));
    EXPECT_EQ(Show(message.GetReturnValue()), "\"Hello <world> & \"peers\"\"");
    EXPECT_EQ(message.GetNumMethodParams(), 0);
}

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
