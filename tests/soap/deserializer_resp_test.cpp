// Envelopes read through WMSOAPMessage::Deserialize and ProcessRPC: responses as the client
// reads them, then requests as a server does.
#include <corvane/xml_parser.h>
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

// Hostile input: reference cycles, shared references that would expand exponentially, and
// reference chains deeper than the parser's depth limit end in faults. (Nesting in the text
// itself is the parser's: tests/xml/parser_test.cpp.)
// An echo response whose return value (a Node) is `ret`, followed by independent elements.
WMString EchoResponse(std::string const& ret, std::string const& independent) {
    return Envelope("<m:echoResponse xmlns:m='urn:calc'>" + ret + "</m:echoResponse>" +
                    independent);
}

WMString EchoRequest(std::string const& node, std::string const& independent) {
    return Envelope("<m:echo xmlns:m='urn:calc'>" + node + "</m:echo>" + independent);
}

std::string Node(std::string const& id, std::string const& inside) {
    return "<n id='" + id + "' SOAP-ENC:root='0'><value>1</value>" + inside + "</n>";
}

// `levels` levels of nodes l0.., each holding two references to the next.
std::string Diamond(int levels) {
    std::string shared;
    for (int level = 0; level < levels; ++level) {
        std::string const next = "#l" + std::to_string(level + 1);
        shared += Node("l" + std::to_string(level),
                       "<next href='" + next + "'/><other href='" + next + "'/>");
    }
    return shared + Node("l" + std::to_string(levels), "");
}

struct Hostile {
    char const* what;
    std::string value;  // of the parameter `name`
    std::string independent;
    bool badReference;  // else too deep or too large to convert
};

std::vector<Hostile> Cases(std::string const& name) {
    std::string chain;  // independent elements nested by reference beyond the depth limit
    int const deep = WMXMLParser::kMaxNestingDepth + 20;
    for (int level = 0; level < deep; ++level) {
        chain +=
            Node("c" + std::to_string(level), "<next href='#c" + std::to_string(level + 1) + "'/>");
    }
    chain += Node("c" + std::to_string(deep), "");
    return {
        {"self", "<" + name + " id='r' href='#r'/>", "", true},
        {"ancestor",
         "<" + name + " id='r'><value>1</value><next><value>2</value><next href='#r'/></next></" +
             name + ">",
         "", true},
        {"ring", "<" + name + " href='#a'/>",
         Node("a", "<next href='#b'/>") + Node("b", "<next href='#c'/>") +
             Node("c", "<next href='#a'/>"),
         true},
        {"shared", "<" + name + " href='#l0'/>", Diamond(30), false},
        {"deep", "<" + name + " href='#c0'/>", chain, false},
    };
}

TEST(HostileReferences, CyclesExpansionAndDepthEndInFaults) {
    for (Hostile const& c : Cases("return")) {
        SCOPED_TRACE(std::string("response ") + c.what);
        WMSOAPMessage message;
        auto const thrown =
            DecodeResponse(message, Calc(), u"echo", EchoResponse(c.value, c.independent));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, "SOAP-ENV:Server");
        EXPECT_EQ(thrown->text, c.badReference
                                    ? "Method parameter: 'return' has invalid reference."
                                    : "Failed to convert parameter: 'return' in Response Body.");
    }
    // The same values as the request's "node" parameter.
    for (Hostile const& c : Cases("node")) {
        SCOPED_TRACE(std::string("request ") + c.what);
        WMSOAPMessage message;
        auto const thrown =
            DecodeRequest(message, Calc(), u"\"\"", EchoRequest(c.value, c.independent));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, "SOAP-ENV:Server");
        EXPECT_EQ(thrown->text, c.badReference
                                    ? "Parameter: 'node' has invalid reference."
                                    : "Failed to convert parameter: 'node' in Request Body.");
    }
}

TEST(HostileResponses, SharedReferencesWithinTheBudgetAreExpanded) {
    // A diamond of modest size is legitimate and reads completely.
    WMSOAPMessage message;
    ASSERT_FALSE(
        DecodeResponse(message, Calc(), u"echo", EchoResponse("<return href='#l0'/>", Diamond(6))));
    std::string const shown = Show(message.GetReturnValue());
    std::size_t leaves = 0;
    for (std::size_t at = shown.find("value=1"); at != std::string::npos;
         at = shown.find("value=1", at + 1)) {
        ++leaves;
    }
    EXPECT_EQ(leaves, 127u);  // 2^7 - 1 nodes
}

}  // namespace
