// The SOAP parse handlers driven by the real XML parser.
#include "soap/parse_handlers.h"

#include <corvane/message.h>
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "support/support.h"

namespace {

using namespace corvane;

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

WMString Method(WMString const& param) {
    return Env(u"<SOAP-ENV:Body><m:op xmlns:m='urn:m'>" + param + u"</m:op></SOAP-ENV:Body>");
}

using corvane::test::Narrow;

// A parameter and its children on one line: each attribute the handler took, when set.
std::string Describe(WMSOAPParamHandler const& p) {
    std::string out = "<" + Narrow(p.GetLocalName());
    auto const field = [&out](char const* name, WMString const& value) {
        if (!value.empty()) {
            out += std::string(" ") + name + "=" + Narrow(value);
        }
    };
    if (!p.GetTypeNS().empty() || !p.GetTypeName().empty()) {
        field("type", u"{" + p.GetTypeNS() + u"}" + p.GetTypeName());
    }
    if (!p.GetArrayTypeNS().empty() || !p.GetArrayType().empty()) {
        field("array", u"{" + p.GetArrayTypeNS() + u"}" + p.GetArrayType());
    }
    field("offset", p.GetOffsetText());
    for (std::int32_t offset : p.GetOffsets()) {
        out += " " + std::to_string(offset);
    }
    field("id", p.GetId());
    field("href", p.GetHref());
    field("root", p.GetRoot());
    field("null", p.GetNullValue());
    out += p.IsNil() ? " nil" : "";
    field("enc", p.GetEncodingStyle());
    field("value", p.GetValue());
    for (WMSOAPParamHandler const* child : p.GetChildren()) {
        out += " " + Describe(*child);
    }
    return out + ">";
}

// What a parse of a request or response left: its fault, header entries, method element or
// fault element, independent elements and registered ids.
template <class Handler>
std::string Describe(Parse<Handler>& parse) {
    std::string out = parse.faultCode.empty() ? "" : parse.faultCode + " " + parse.faultText + "\n";
    for (auto const* entry : parse.Header().GetEntries()) {
        out += "header " + Describe(*entry) + (entry->GetMustUnderstand() ? " mu" : "") +
               (entry->GetActor().empty() ? "" : " actor=" + Narrow(entry->GetActor())) + "\n";
    }
    auto& body = parse.Body();
    if constexpr (std::is_same_v<Handler, WMSOAPRequestMessageHandler>) {
        if (body.GetRequestHandler() != nullptr) {
            out += "method " + Describe(*body.GetRequestHandler()) + "\n";
        }
    } else if (WMSOAPFaultHandler const* fault = body.GetFaultHandler()) {
        out += "fault " +
               Narrow(fault->GetFaultCode() + u"|" + fault->GetFaultString() + u"|" +
                      fault->GetFaultActor()) +
               (fault->GetDetail() ? " " + Describe(*fault->GetDetail()) : "") + "\n";
    }
    for (WMSOAPParamHandler const* element : body.GetIndependentElements()) {
        out += "independent " + Describe(*element) + "\n";
    }
    return out + "ids " +
           std::to_string(body.GetIdTable().size() + parse.Header().GetIdTable().size());
}

// Each row of the table: an envelope (or, in the "param" section, the one parameter of a
// request's method element) => what its parse left.
TEST(ParseHandlers, WhatEachEnvelopeLeaves) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/parse_handlers.txt")) {
        WMString const input = corvane::test::Unescape(row.input);
        std::string const expected = corvane::test::Narrow(corvane::test::Unescape(row.expected));
        if (row.section == "response") {
            Response parse(Env(input));
            EXPECT_EQ(Describe(parse), expected) << row.where;
        } else {
            Request parse(row.section == "param"     ? Method(input)
                          : row.section == "request" ? Env(input)
                                                     : input);
            EXPECT_EQ(Describe(parse), expected) << row.where;
        }
    }
    // The first registration of an id stays; an entry's id goes to the header's table.
    Request ids(Method(u"<a id='i1'/><b id='i1'/>"));
    EXPECT_EQ(ids.Body().GetIdTable().at(u"i1"), ids.Body().GetRequestHandler()->GetChildren()[0]);
    Request entry(Env(u"<SOAP-ENV:Header><h:a xmlns:h='urn:h' id='ha'/></SOAP-ENV:Header>"));
    EXPECT_EQ(entry.Header().GetIdTable().at(u"ha"), entry.Header().GetEntries()[0]);
}

TEST(ParseNamespaces, OnePrefixOneURIWithoutShadowing) {
    // A prefix declared again inside and ended there is gone altogether afterwards (the table
    // has the same through the parser, "q:T").
    WMSOAPParseEventHandler events;
    events.StartNSMapping(u"q", u"urn:outer");
    events.StartNSMapping(u"q", u"urn:inner");
    EXPECT_EQ(events.GetNSMap().at(u"q"), u"urn:inner");
    events.EndNSMapping(u"q");
    EXPECT_EQ(events.GetNSMap().count(u"q"), 0u);
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
