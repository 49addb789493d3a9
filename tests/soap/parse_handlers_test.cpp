// The SOAP parse handlers driven by the real XML parser.
#include "soap/parse_handlers.h"

#include <corvane/message.h>
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using namespace corvane;

constexpr char16_t kXsd[] = u"http://www.w3.org/2001/XMLSchema";

WMString Env(WMString const& inside, WMString const& extraNS = WMString()) {
    return u"<SOAP-ENV:Envelope xmlns:SOAP-ENV='http://schemas.xmlsoap.org/soap/envelope/' "
           u"xmlns:SOAP-ENC='http://schemas.xmlsoap.org/soap/encoding/' "
           u"xmlns:xsd='http://www.w3.org/2001/XMLSchema' "
           u"xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
           u"xmlns:xsi99='http://www.w3.org/1999/XMLSchema-instance'" +
           extraNS + u">" + inside + u"</SOAP-ENV:Envelope>";
}

// One parse of a request or response envelope, keeping the tree for inspection.
template <class Handler>
struct Parse {
    std::unique_ptr<Handler> handler = std::make_unique<Handler>();
    WMSOAPParseEventHandler events{handler.get()};
    WMXMLParser parser;
    std::string faultCode;
    std::string faultText;

    explicit Parse(WMString const& text) {
        try {
            parser.ParseXML(text, &events);
        } catch (WMSOAPFault* raised) {
            std::unique_ptr<WMSOAPFault> fault(raised);
            faultCode.assign(fault->GetFaultCode().begin(), fault->GetFaultCode().end());
            faultText.assign(fault->GetFaultString().begin(), fault->GetFaultString().end());
        }
    }
    auto& Header() { return handler->GetEnvelope().GetHeader(); }
    auto& Body() { return handler->GetEnvelope().GetBody(); }
};

using Request = Parse<WMSOAPRequestMessageHandler>;
using Response = Parse<WMSOAPResponseMessageHandler>;

// The parameter handler of the first child of the request's method element.
WMSOAPParamHandler* FirstParam(Request& parse) {
    WMSOAPRequestHandler* request = parse.Body().GetRequestHandler();
    if (request == nullptr || request->GetChildren().empty()) {
        return nullptr;
    }
    return request->GetChildren().front();
}

WMString Method(WMString const& param) {
    return Env(u"<SOAP-ENV:Body><m:op xmlns:m='urn:m'>" + param + u"</m:op></SOAP-ENV:Body>");
}

TEST(ParseEnvelope, OtherRootIsNoEnvelope) {
    Request notEnvelope(u"<Envelope2><Body/></Envelope2>");
    EXPECT_EQ(notEnvelope.faultCode, "");
    EXPECT_EQ(notEnvelope.Body().GetRequestHandler(), nullptr);
    EXPECT_TRUE(notEnvelope.Header().GetEntries().empty());
    // The faults of a wrong version, of unresolvable type prefixes and of bad offsets are in
    // tests/soap/fault_delivery_test.cpp.
}

TEST(ParseAttributes, TypeResolution) {
    Request typed(Method(u"<p xsi:type='xsd:int'>4</p>"));
    WMSOAPParamHandler* p = FirstParam(typed);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->GetTypeNS(), kXsd);
    EXPECT_EQ(p->GetTypeName(), u"int");
    EXPECT_EQ(p->GetValue(), u"4");

    // The 2001 instance namespace wins over the 1999 one.
    Request both(Method(u"<p xsi99:type='xsd:string' xsi:type='xsd:int'/>"));
    EXPECT_EQ(FirstParam(both)->GetTypeName(), u"int");

    Request withDefault(Method(u"<p xmlns='urn:d' xsi:type='int'/>"));
    EXPECT_EQ(FirstParam(withDefault)->GetTypeNS(), u"urn:d");
    EXPECT_EQ(FirstParam(withDefault)->GetTypeName(), u"int");
}

TEST(ParseAttributes, ArrayTypeAndOffset) {
    Request array(Method(u"<p SOAP-ENC:arrayType='xsd:string[3]'/>"));
    EXPECT_EQ(FirstParam(array)->GetArrayTypeNS(), kXsd);
    EXPECT_EQ(FirstParam(array)->GetArrayType(), u"string[3]");

    Request noDefault(Method(u"<p SOAP-ENC:arrayType='string[3]'/>"));
    EXPECT_EQ(noDefault.faultText,
              "Encountered unresolvable namespace for attribute 'arrayType' on element.");
    // Without a prefix the array type takes the type name, still empty at that step.
    Request withDefault(
        Method(u"<p xmlns='urn:d' SOAP-ENC:arrayType='string[3]' "
               u"xsi:type='xsd:int'/>"));
    EXPECT_EQ(FirstParam(withDefault)->GetArrayTypeNS(), u"urn:d");
    EXPECT_EQ(FirstParam(withDefault)->GetArrayType(), u"");

    Request offset(Method(u"<p href='#x' SOAP-ENC:offset='[2]'/>"));
    ASSERT_EQ(offset.faultCode, "");
    EXPECT_EQ(FirstParam(offset)->GetOffsets(), std::vector<std::int32_t>{2});
    EXPECT_EQ(FirstParam(offset)->GetOffsetText(), u"[2]");
    for (WMString const bad :
         {u"<p SOAP-ENC:offset='[2]'/>", u"<p href='#x' SOAP-ENC:offset='[2,1]'/>",
          u"<p href='#x' SOAP-ENC:offset='2'/>"}) {
        Request parse(Method(bad));
        EXPECT_EQ(parse.faultCode, "SOAP-ENV:Client");
        EXPECT_EQ(parse.faultText,
                  "Invalid value for attribute 'offset' or 'arrayType' on element.");
    }
    Request zeros(Method(u"<p href='#x' SOAP-ENC:offset='[5,0,0]'/>"));
    EXPECT_EQ(FirstParam(zeros)->GetOffsets(), (std::vector<std::int32_t>{5, 0, 0}));
}

TEST(ParseAttributes, IdHrefRootNilAndEncodingStyle) {
    Request parse(
        Env(u"<SOAP-ENV:Body SOAP-ENV:encodingStyle='urn:enc'>"
            u"<m:op xmlns:m='urn:m'><a id='i1' xsi:nil='true'/><b href='#i1' "
            u"SOAP-ENV:encodingStyle='urn:other'><c/></b><a id='i1' xsi99:null='1'/></m:op>"
            u"</SOAP-ENV:Body>"));
    WMSOAPRequestHandler* request = parse.Body().GetRequestHandler();
    ASSERT_NE(request, nullptr);
    auto const& children = request->GetChildren();
    ASSERT_EQ(children.size(), 3u);
    EXPECT_EQ(children[0]->GetId(), u"i1");
    EXPECT_TRUE(children[0]->IsNil());
    EXPECT_EQ(children[0]->GetEncodingStyle(), u"urn:enc");
    EXPECT_EQ(children[1]->GetHref(), u"#i1");
    EXPECT_EQ(children[1]->GetEncodingStyle(), u"urn:other");
    EXPECT_EQ(children[1]->GetChildren().front()->GetEncodingStyle(), u"urn:other");
    EXPECT_EQ(children[2]->GetNullValue(), u"1");
    // The first registration of an id stays.
    EXPECT_EQ(parse.Body().GetIdTable().at(u"i1"), children[0]);
}

TEST(ParseBody, MethodElementAndIndependentElements) {
    Request parse(
        Env(u"<SOAP-ENV:Body><x SOAP-ENC:root='0' id='a'/><m:op xmlns:m='urn:m'/>"
            u"<y id='b'/></SOAP-ENV:Body>"));
    ASSERT_NE(parse.Body().GetRequestHandler(), nullptr);
    EXPECT_EQ(parse.Body().GetRequestHandler()->GetLocalName(), u"op");
    ASSERT_EQ(parse.Body().GetIndependentElements().size(), 2u);
    EXPECT_EQ(parse.Body().GetIndependentElements()[0]->GetLocalName(), u"x");
    EXPECT_EQ(parse.Body().GetIdTable().size(), 2u);

    Response faults(
        Env(u"<SOAP-ENV:Body><SOAP-ENV:Fault><faultcode>c1</faultcode><faultstring>s1</faultstring>"
            u"<faultactor>a1</faultactor><detail><d1/></detail><detail><d2/></detail>"
            u"</SOAP-ENV:Fault><SOAP-ENV:Fault><faultcode>c2</faultcode></SOAP-ENV:Fault>"
            u"</SOAP-ENV:Body>"));
    WMSOAPFaultHandler* fault = faults.Body().GetFaultHandler();
    ASSERT_NE(fault, nullptr);
    EXPECT_TRUE(faults.Body().FaultSeen());
    EXPECT_EQ(fault->GetFaultCode(), u"c1");
    EXPECT_EQ(fault->GetFaultString(), u"s1");
    EXPECT_EQ(fault->GetFaultActor(), u"a1");
    ASSERT_NE(fault->GetDetail(), nullptr);
    ASSERT_EQ(fault->GetDetail()->GetChildren().size(), 1u);
    EXPECT_EQ(fault->GetDetail()->GetChildren()[0]->GetLocalName(), u"d1");
}

TEST(ParseHeader, EntriesMustUnderstandAndLiteralContent) {
    Request parse(
        Env(u"<SOAP-ENV:Header>"
            u"<h:a xmlns:h='urn:h' SOAP-ENV:mustUnderstand='true' id='ha'>1</h:a>"
            u"<h:b xmlns:h='urn:h' SOAP-ENV:mustUnderstand='1' SOAP-ENV:actor='urn:act'><i/></h:b>"
            u"<h:c xmlns:h='urn:h' "
            u"SOAP-ENV:encodingStyle='http://schemas.xmlsoap.org/soap/encoding/'><i/></h:c>"
            u"</SOAP-ENV:Header><SOAP-ENV:Body/>"));
    auto const& entries = parse.Header().GetEntries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_FALSE(entries[0]->GetMustUnderstand());
    EXPECT_TRUE(entries[1]->GetMustUnderstand());
    EXPECT_EQ(entries[1]->GetActor(), u"urn:act");
    // A literal entry's content is not taken apart; an encoded one's is.
    EXPECT_TRUE(entries[1]->GetChildren().empty());
    EXPECT_EQ(entries[2]->GetChildren().size(), 1u);
    EXPECT_EQ(parse.Header().GetIdTable().at(u"ha"), entries[0]);
}

TEST(ParseNamespaces, OnePrefixOneURIWithoutShadowing) {
    // A prefix declared again inside and ended there is gone altogether afterwards.
    WMSOAPParseEventHandler events;
    events.StartNSMapping(u"q", u"urn:outer");
    events.StartNSMapping(u"q", u"urn:inner");
    EXPECT_EQ(events.GetNSMap().at(u"q"), u"urn:inner");
    events.EndNSMapping(u"q");
    EXPECT_EQ(events.GetNSMap().count(u"q"), 0u);

    // Through the parser: a type prefix declared on the element itself resolves.
    Request own(Method(u"<b xmlns:q='urn:own' xsi:type='q:T'/>"));
    EXPECT_EQ(FirstParam(own)->GetTypeNS(), u"urn:own");
    // ...and is gone for its next sibling.
    Request sibling(Method(u"<a xmlns:q='urn:own'/><b xsi:type='q:T'/>"));
    EXPECT_EQ(sibling.faultText,
              "Encountered undeclared namespace prefix for attribute 'type' on element.");
}

TEST(ParseFailures, HandlersOfAnAbandonedParseAreFreed) {
    // Faults raised inside a fault string and under nested params, and a syntax error while a
    // character handler is open: LeakSanitizer checks that nothing stays behind.
    Response inFault(
        Env(u"<SOAP-ENV:Body><SOAP-ENV:Fault><faultstring>x<q xsi:type='z:t'/>"
            u"</faultstring></SOAP-ENV:Fault></SOAP-ENV:Body>"));
    EXPECT_EQ(inFault.faultCode, "");
    Request nested(Method(u"<a><b><c xsi:type='z:t'/></b></a>"));
    EXPECT_EQ(nested.faultCode, "SOAP-ENV:Client");
    auto handler = std::make_unique<WMSOAPResponseMessageHandler>();
    WMSOAPParseEventHandler events(handler.get());
    WMXMLParser parser;
    EXPECT_THROW(parser.ParseXML(Env(u"<SOAP-ENV:Body><SOAP-ENV:Fault><faultcode>x"), &events),
                 int);
}

}  // namespace
