// Golden envelopes: requests, responses, forwarding, headers, faults and the failures that
// leave no text; then the values inside them, SOAP 1.2 faults and content types, and the
// writer's reuse of start tags.
#include <corvane/message.h>
#include <corvane/serializer.h>
#include <corvane/utf8.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "soap/deserializer_test_util.h"
#include "soap/envelope_writer.h"
#include "soap/soap12.h"
#include "support/values.h"
#include "xml/reader.h"

#define ENV u"http://schemas.xmlsoap.org/soap/envelope/"
#define INTEROP u"http://soapinterop.org/"
#define XSD u"http://www.w3.org/2001/XMLSchema"
#define XSI u"http://www.w3.org/2001/XMLSchema-instance"
#define TYPED u" xsi:type=\"ns:string\" xmlns:ns=\"" XSD u"\" xmlns:xsi=\"" XSI u"\""

namespace {

namespace soap12 = corvane::detail::soap12;
using corvane::detail::EnvelopeWriter;

// `text` against its row of envelopes.txt, by test and number within it; \r in a row stands
// for a carriage return.
void ExpectText(WMString const& text, std::string const& name) {
    EXPECT_EQ(text, corvane::test::Unescape(deser_test::Narrow(
                        deser_test::Golden("expected/soap/envelopes.txt", name))))
        << name;
}

// Serializes the message and compares the whole envelope with its row.
void ExpectEnvelope(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl, std::string const& name) {
    EXPECT_TRUE(message.Serialize(wsdl)) << name;
    ExpectText(*message.GetBufferPtr(), name);
}

using corvane::test::Items;
using corvane::test::SOAPStruct;
using deser_test::Edges;
using deser_test::Round2Base;
using deser_test::Round2GroupB;

// A request message for the method, as the client facade prepares one.
void Prepare(WMSOAPMessage& message, WMString const& method, WMString const& ns,
             WMString const& actor = WMString(), WMString const& nextHop = WMString()) {
    message.Initialize(nullptr, 0, u"", u"", actor, u"", nextHop, false);
    message.SetMethodName(method);
    message.SetMethodNS(ns);
}

TEST(SerializerRpc, RequestCarriesTheMethodAndItsParametersInOrder) {
    WMSOAPMessage message;
    Prepare(message, u"echoString", INTEROP);
    message.AddMethodParam(u"", u"inputString", WMSOAPStructMember(u"s", u"a<b & \"c\" >"), true,
                           false);
    ExpectEnvelope(message, Round2Base(), "RequestCarriesTheMethodAndItsParametersInOrder 1");

    // No parameters: an empty method element; no header entries: no Header element.
    Prepare(message, u"echoVoid", INTEROP);
    message.ClearMethodParams();
    ExpectEnvelope(message, Round2Base(), "RequestCarriesTheMethodAndItsParametersInOrder 3");

    // Several parameters keep the message's order, not the WSDL's.
    Prepare(message, u"echoStructAsSimpleTypes", INTEROP);
    message.SetRequestPhase(false);
    message.AddMethodParam(u"", u"outputFloat", WMSOAPStructMember(u"f", 0.5), false, true);
    message.AddMethodParam(u"", u"outputInteger", WMSOAPStructMember(u"i", -3), false, true);
    ExpectEnvelope(message, Round2GroupB(), "RequestCarriesTheMethodAndItsParametersInOrder 2");
}

TEST(SerializerRpc, ResponseWritesTheReturnValueFirst) {
    WMSOAPMessage message;
    Prepare(message, u"echoStructAsSimpleTypes", INTEROP);
    message.SetRequestPhase(false);
    message.AddMethodParam(u"", u"outputInteger", WMSOAPStructMember(u"i", 7), false, true);
    WMSOAPStructMember result(u"r", u"first");
    message.SetReturnValue(result);
    message.SetRetValName(u"outputString");
    ExpectEnvelope(message, Round2GroupB(), "ResponseWritesTheReturnValueFirst 1");

    // A request never writes the return value, whatever it holds.
    message.SetRequestPhase(true);
    message.ClearMethodParams();
    ExpectEnvelope(message, Round2GroupB(), "ResponseWritesTheReturnValueFirst 2");
}

TEST(SerializerRpc, ForwardingNodeSendsTheLiteralBody) {
    WMSOAPMessage message;
    Prepare(message, u"echoVoid", INTEROP, u"", u"http://next.example/");
    message.SetBodyElemLit(u"<SOAP-ENV:Body xmlns:SOAP-ENV='" ENV u"'><x:a xmlns:x='urn:x'>1</x:a>"
                           u"</SOAP-ENV:Body>",
                           u"");
    // The body's own declaration matches the envelope's and is not repeated.
    ExpectEnvelope(message, Round2Base(), "ForwardingNodeSendsTheLiteralBody 1");

    // Without a literal body, an empty body comes before the RPC body.
    WMSOAPMessage bare;
    Prepare(bare, u"echoVoid", INTEROP, u"", u"http://next.example/");
    ExpectEnvelope(bare, Round2Base(), "ForwardingNodeSendsTheLiteralBody 2");
}

TEST(SerializerHeaders, LiteralEntriesComeFirstThenEncodedOnes) {
    WMSOAPMessage message;
    Prepare(message, u"check", u"urn:edges");
    WMSOAPStructMember token(u"token", u"secret");
    message.AddHeaderElem(u"urn:auth", u"token", true, token, u"urn:gate");
    message.AddHeaderElem(u"urn:auth", u"token", false, token, u"");
    message.AddHeaderElemLit(u"urn:t", u"trace",
                             u"<t:trace xmlns:t='urn:t' SOAP-ENV:mustUnderstand='1' "
                             u"xmlns:SOAP-ENV='" ENV u"'>on</t:trace>",
                             true, u"", u"");
    message.AddMethodParam(u"", u"note", WMSOAPStructMember(u"n", u"hi"), true, false);
    ExpectEnvelope(message, Edges(), "LiteralEntriesComeFirstThenEncodedOnes 1");
}

TEST(SerializerHeaders, ResponseEntryTakesTheOutputHeaderType) {
    WMSOAPMessage message;
    Prepare(message, u"check", u"urn:edges");
    message.SetRequestPhase(false);
    WMSOAPStructType old;
    old.SetMember(u"text", u"t");
    WMSOAPStructMember session(u"session", old);
    message.AddHeaderElem(u"urn:session", u"session", false, session, u"");
    // A struct in a 1999 schema: its member's instance namespace is the 1999 one.
    ExpectEnvelope(message, Edges(), "ResponseEntryTakesTheOutputHeaderType 1");

    // The same entry in a request is not an input header: the message fails.
    message.SetRequestPhase(true);
    EXPECT_FALSE(message.Serialize(Edges()));
    EXPECT_EQ(message.GetBufferLength(), 0u);
}

TEST(SerializerFault, FaultEnvelopeWithAndWithoutDetail) {
    WMSOAPMessage message;
    Prepare(message, u"check", u"urn:edges");
    message.SetRequestPhase(false);
    message.AddMethodParam(u"", u"unknown", WMSOAPStructMember(u"x", 1), false, true);
    message.SetSOAPFault(u"SOAP-ENV:Server", u"It broke <here>", u"", false);
    // A fault replaces the body: the parameters are not looked at.
    ExpectEnvelope(message, Edges(), "FaultEnvelopeWithAndWithoutDetail 1");

    // Detail asked for but without entries: an empty detail element.
    message.SetSOAPFaultNeedDetail(true);
    ExpectEnvelope(message, Edges(), "FaultEnvelopeWithAndWithoutDetail 3");

    // Two entries: one by the fault part of its name, one by the global element of its name.
    message.AddFaultDetailElem(u"urn:d", u"problem", WMSOAPStructMember(u"p", u"disk"));
    message.AddFaultDetailElem(u"urn:edges:types", u"reason", WMSOAPStructMember(u"r", 28));
    ExpectEnvelope(message, Edges(), "FaultEnvelopeWithAndWithoutDetail 2");

    // Entries without needs-detail are not written.
    message.SetSOAPFaultNeedDetail(false);
    ExpectEnvelope(message, Edges(), "FaultEnvelopeWithAndWithoutDetail 4");
}

TEST(SerializerFault, FaultActorAndFaultHeaders) {
    WMSOAPMessage message;
    Prepare(message, u"check", u"urn:edges", u"urn:this-node");
    message.SetRequestPhase(false);
    message.SetSOAPFault(u"SOAP-ENV:Client", u"no", u"urn:someone-else", false);
    message.AddFaultHeaderElem(u"urn:auth", u"trouble", WMSOAPStructMember(u"t", u"why"), true,
                               u"");
    message.AddFaultHeaderElemLit(u"urn:l", u"lit", u"<l:lit xmlns:l='urn:l'/>", false, u"", u"");
    // A fault raised here names this node as the actor.
    ExpectEnvelope(message, Edges(), "FaultActorAndFaultHeaders 1");

    // A received fault is not sent as a fault: the message goes out as a normal response.
    message.SetLocalFaultFlag(false);
    ExpectEnvelope(message, Edges(), "FaultActorAndFaultHeaders 2");

    // At the ultimate receiver with no fault actor, no faultactor element.
    WMSOAPMessage plain;
    Prepare(plain, u"check", u"urn:edges", u"urn:this-node");
    plain.SetSOAPFault(u"SOAP-ENV:Client", u"no", u"", false);
    ExpectEnvelope(plain, Edges(), "FaultActorAndFaultHeaders 3");

    // An intermediary names itself even when the fault carries no actor; here that is the
    // default actor, an empty text.
    WMSOAPMessage relay;
    Prepare(relay, u"check", u"urn:edges", u"", u"http://next.example/");
    relay.SetSOAPFault(u"SOAP-ENV:Server", u"down", u"", false);
    ExpectEnvelope(relay, Edges(), "FaultActorAndFaultHeaders 4");
}

TEST(SerializerFault, LiteralFaultIsTheWholeBody) {
    WMSOAPMessage message;
    Prepare(message, u"check", u"urn:edges");
    message.SetSOAPFaultLit(u"<SOAP-ENV:Body xmlns:SOAP-ENV='" ENV u"'><SOAP-ENV:Fault>"
                            u"<faultcode>SOAP-ENV:Server</faultcode></SOAP-ENV:Fault>"
                            u"</SOAP-ENV:Body>",
                            u"");
    ExpectEnvelope(message, Edges(), "LiteralFaultIsTheWholeBody 1");
}

TEST(SerializerFailure, UnknownPartsAndBrokenLiteralsLeaveNoText) {
    WMSOAPStructType odd;
    odd.SetMember(u"varString", u"s");
    odd.SetMember(u"varColour", u"red");  // SOAPStruct declares no such member
    struct Case {
        char16_t const* method;
        char16_t const* part;
        WMSOAPStructMember value;
        char16_t const* header;  // a literal header entry, when not null
    } const cases[] = {
        {u"echoString", u"notAPart", {u"s", u"x"}, nullptr},
        {u"echoString", u"outputString", {u"s", u"x"}, nullptr},  // not an input part
        {u"echoNothing", u"inputString", {u"s", u"x"}, nullptr},
        {u"echoStruct", u"inputStruct", {u"s", odd}, nullptr},
        {u"echoString", u"inputString", {u"s", u"x"}, u"<x:open xmlns:x='urn:x'>"},
    };
    for (Case const& c : cases) {
        WMSOAPMessage message;
        Prepare(message, c.method, INTEROP);
        message.AddMethodParam(u"", c.part, c.value, true, false);
        if (c.header) {
            message.AddHeaderElemLit(u"urn:x", u"x", c.header, false, u"", u"");
        }
        message.SetBuffer(u"old text");
        EXPECT_FALSE(message.Serialize(Round2Base())) << deser_test::Narrow(c.part);
        EXPECT_EQ(message.GetBufferLength(), 0u);
    }

    // A literal fault whose slot is empty.
    WMSOAPMessage fault;
    Prepare(fault, u"echoVoid", INTEROP);
    fault.SetSOAPFaultLit(u"", u"");
    EXPECT_FALSE(fault.Serialize(Round2Base()));
}

// How values become elements: built-ins, nil, structs, arrays, explicit typing, and the date
// helpers and namespace tests of the serializer. Their longer expected texts, by test and number.
WMString ExpectedValue(std::string const& name) {
    return deser_test::Golden("expected/soap/values.txt", name);
}

// Serializes a one-parameter request and returns the parameter's element, cut out of the
// method element; empty when serialization failed.
WMString Param(WMSOAPWSDLClient& wsdl, WMString const& method, WMString const& part,
               WMSOAPStructMember const& value, bool explicitTyping = false) {
    WMSOAPMessage message;
    message.Initialize(nullptr, 0, u"", u"", u"", u"", u"", explicitTyping);
    message.SetMethodName(method);
    message.SetMethodNS(u"urn:m");
    message.AddMethodParam(u"", part, value, true, false);
    if (!message.Serialize(wsdl)) {
        return WMString();
    }
    WMString const& text = *message.GetBufferPtr();
    std::size_t const start = text.find(u"\"urn:m\">") + 8;
    std::size_t const end = text.find(u"</m:" + method + u">");
    return text.substr(start, end - start);
}

TEST(SerializerBuiltIn, EveryBuiltInIsTypedAsStringInItsSchemaNamespace) {
    struct Case {
        char16_t const* part;  // echo<Part> takes input<Part>
        WMSOAPStructMember value;
        char16_t const* content;  // null: no content
    } const cases[] = {
        {u"Integer", WMSOAPStructMember(u"i", 42), u"42"},
        {u"Integer", WMSOAPStructMember(u"i", std::int32_t{-2147483647 - 1}), u"-2147483648"},
        // Doubles always with six decimals: precision below a millionth is lost.
        {u"Float", WMSOAPStructMember(u"f", 0.1), u"0.100000"},
        {u"Float", WMSOAPStructMember(u"f", 1e-9), u"0.000000"},
        {u"Float", WMSOAPStructMember(u"f", -1.5e7), u"-15000000.000000"},
        // A date part takes a double as a plain number too.
        {u"Date", WMSOAPStructMember(u"d", 36526.5), u"36526.500000"},
        // An empty string is no content.
        {u"String", WMSOAPStructMember(u"s", u""), nullptr},
        // A struct or array value for a built-in part writes its (empty) string slot.
        {u"Boolean", WMSOAPStructMember(u"b", WMSOAPStructType()), nullptr},
    };
    for (Case const& c : cases) {
        WMString const part = WMString(u"input") + c.part;
        WMString const open = u"<" + part + TYPED;
        EXPECT_EQ(Param(Round2Base(), WMString(u"echo") + c.part, part, c.value),
                  c.content ? open + u">" + c.content + u"</" + part + u">" : open + u" />");
    }
}

TEST(SerializerBuiltIn, NilFollowsTheSchemaNamespace) {
    EXPECT_EQ(Param(Round2Base(), u"echoString", u"inputString", WMSOAPStructMember()),
              u"<inputString xsi:nil=\"true\" xmlns:xsi=\"" XSI u"\" />");

    WMSOAPStructMember text;
    text.SetName(u"text");
    WMSOAPStructType oldValue;
    oldValue.SetMember(text);
    WMSOAPStructType holder;
    holder.SetMember(u"inner", oldValue);
    EXPECT_EQ(Param(Edges(), u"check", u"holder", WMSOAPStructMember(u"h", holder)),
              ExpectedValue("NilFollowsTheSchemaNamespace 1"));
}

TEST(SerializerStruct, MembersByTheWsdlsMemberTypes) {
    WMSOAPStructMember value(u"s", SOAPStruct(u"x&y", 5, 2.25));
    EXPECT_EQ(Param(Round2Base(), u"echoStruct", u"inputStruct", value),
              ExpectedValue("MembersByTheWsdlsMemberTypes 1"));

    // Members are written in the value's order and may be left out.
    WMSOAPStructType partial;
    partial.SetMember(u"varFloat", 1.0);
    partial.SetMember(u"varString", u"b");
    EXPECT_EQ(Param(Round2Base(), u"echoStruct", u"inputStruct", WMSOAPStructMember(u"s", partial)),
              ExpectedValue("MembersByTheWsdlsMemberTypes 2"));

    // Nested struct inside a struct (group B).
    WMSOAPStructType nested;
    nested.SetMember(u"varString", u"outer");
    nested.SetMember(u"varInt", 1);
    nested.SetMember(u"varFloat", 0.0);
    nested.SetMember(u"varStruct", SOAPStruct(u"inner", 2, 3.0));
    EXPECT_EQ(Param(Round2GroupB(), u"echoNestedStruct", u"inputStruct",
                    WMSOAPStructMember(u"s", nested)),
              ExpectedValue("MembersByTheWsdlsMemberTypes 3"));

    // A member with a namespace is prefixed "nsm".
    WMSOAPStructType qualified;
    qualified.SetMemberQN(u"varString", u"http://soapinterop.org/xsd", u"q");
    EXPECT_EQ(
        Param(Round2Base(), u"echoStruct", u"inputStruct", WMSOAPStructMember(u"s", qualified)),
        ExpectedValue("MembersByTheWsdlsMemberTypes 4"));
    // ... and must be the namespace of the schema that declares the member.
    WMSOAPStructType foreign;
    foreign.SetMemberQN(u"varString", u"urn:elsewhere", u"q");
    EXPECT_EQ(Param(Round2Base(), u"echoStruct", u"inputStruct", WMSOAPStructMember(u"s", foreign)),
              u"");
}

TEST(SerializerArray, ArrayTypeComesFromTheWsdlNotFromTheValue) {
    WMSOAPStructMember strings(
        u"a", Items({WMSOAPStructMember(u"item", u"one"), WMSOAPStructMember(u"item", u"two")}));
    EXPECT_EQ(Param(Round2Base(), u"echoStringArray", u"inputStringArray", strings),
              ExpectedValue("ArrayTypeComesFromTheWsdlNotFromTheValue 1"));

    // No items, or a value that is not an array: the array element alone.
    EXPECT_EQ(Param(Round2Base(), u"echoIntegerArray", u"inputIntegerArray",
                    WMSOAPStructMember(u"a", std::vector<WMSOAPStructType>())),
              ExpectedValue("ArrayTypeComesFromTheWsdlNotFromTheValue 2"));
    EXPECT_EQ(
        Param(Round2Base(), u"echoIntegerArray", u"inputIntegerArray", WMSOAPStructMember(u"a", 3)),
        ExpectedValue("ArrayTypeComesFromTheWsdlNotFromTheValue 3"));

    // Item elements are named by the members, several members per struct give several items.
    WMSOAPStructType pair;
    pair.SetMember(u"a", 1);
    pair.SetMember(u"b", 2);
    EXPECT_EQ(Param(Round2Base(), u"echoIntegerArray", u"inputIntegerArray",
                    WMSOAPStructMember(u"a", std::vector<WMSOAPStructType>{pair})),
              ExpectedValue("ArrayTypeComesFromTheWsdlNotFromTheValue 4"));

    // Structs as items; two dimensions as the WSDL declares them.
    WMSOAPStructMember structs(u"a",
                               Items({WMSOAPStructMember(u"item", SOAPStruct(u"s", 1, 0.5))}));
    EXPECT_EQ(Param(Round2Base(), u"echoStructArray", u"inputStructArray", structs),
              ExpectedValue("ArrayTypeComesFromTheWsdlNotFromTheValue 5"));
    WMSOAPStructMember grid(u"g", Items({WMSOAPStructMember(u"item", u"x")}));
    EXPECT_EQ(Param(Round2GroupB(), u"echo2DStringArray", u"input2DStringArray", grid),
              ExpectedValue("ArrayTypeComesFromTheWsdlNotFromTheValue 6"));
}

TEST(SerializerExplicitTyping, OnlyStructsAndArraysGainTypes) {
    WMSOAPStructMember value(u"s", SOAPStruct(u"v", 1, 1.0));
    // The struct binds xsi, so its members need not declare it again.
    EXPECT_EQ(Param(Round2Base(), u"echoStruct", u"inputStruct", value, true),
              ExpectedValue("OnlyStructsAndArraysGainTypes 1"));

    WMSOAPStructMember structs(u"a",
                               Items({WMSOAPStructMember(u"item", SOAPStruct(u"s", 2, 0.0))}));
    EXPECT_EQ(Param(Round2Base(), u"echoStructArray", u"inputStructArray", structs, true),
              ExpectedValue("OnlyStructsAndArraysGainTypes 2"));

    // Built-ins are typed the same with or without it.
    EXPECT_EQ(
        Param(Round2Base(), u"echoString", u"inputString", WMSOAPStructMember(u"s", u"a"), true),
        u"<inputString" TYPED u">a</inputString>");
}

TEST(SerializerDates, AutomationDatesAsSchemaTexts) {
    WMSOAPSerializer serializer;
    WMXMLElement element(u"d");
    for (auto const& row : corvane::test::ReadTable("expected/soap/dates.txt")) {
        SCOPED_TRACE(row.where);
        double const date = std::stod(row.input);
        // The date and time texts are the two halves of the dateTime text.
        EXPECT_TRUE(serializer.SerializeDate(date, &element));
        WMString written = element.GetText() + u"T";
        EXPECT_TRUE(serializer.SerializeTime(date, &element));
        written += element.GetText() + u" ";
        EXPECT_TRUE(serializer.SerializeDateTime(date, &element));
        EXPECT_EQ(written + element.GetText(), deser_test::Wide(row.expected + " " + row.expected));
    }
    element.SetText(u"kept");
    EXPECT_FALSE(serializer.SerializeDateTime(-657434.5, &element));
    EXPECT_FALSE(serializer.SerializeDate(2958466.0, &element));
    EXPECT_FALSE(serializer.SerializeTime(0.0 / 0.0, &element));
    EXPECT_FALSE(serializer.SerializeTime(0.0, nullptr));
    EXPECT_EQ(element.GetText(), u"kept");
}

TEST(SerializerNamespaces, SchemaAndEncodingTests) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/namespaces.txt")) {
        SCOPED_TRACE(row.where);
        WMString const uri = deser_test::Wide(row.input);
        char16_t const* instance = WMSOAPSerializer::GetXSDInstanceNS(uri);
        EXPECT_EQ(std::to_string(WMSOAPSerializer::IsXSDType(uri)) + " " +
                      std::to_string(WMSOAPSerializer::IsSoapEncType(uri)) + " " +
                      (instance ? deser_test::Narrow(instance) : "-"),
                  row.expected);
    }
}

// SOAP 1.2 faults written and read back, and the envelope writer's reuse of start tags.
using deser_test::Narrow;

// Writes the fault in `version`, reads it back from the text.
soap12::Fault RoundTrip(int version, soap12::Fault const& fault, WMString& text) {
    text.clear();
    soap12::WriteFault(version, fault, text);
    WMString readable = text;
    soap12::DeclareXmlPrefix(readable);
    corvane::detail::XMLDocument document;
    int line = 1;
    EXPECT_TRUE(document.Read(readable, line, true, nullptr)) << Narrow(text);
    soap12::Fault read;
    EXPECT_TRUE(soap12::ReadFault(*document.Root(), read));
    return read;
}

// Every field of a fault, '|' between them.
std::string Fields(soap12::Fault const& f) {
    WMString out = f.code + u"|" + f.value.ns + u" " + f.value.local + u"|";
    for (soap12::Code const& code : f.subcodes) {
        out += code.ns + u" " + code.local + u",";
    }
    out += u"|" + f.reason + u"|" + f.lang + u"|" + f.node + u"|" + f.role + u"|" + f.detail;
    return Narrow(out) + (f.hasDetail ? "|detail" : "");
}

// The writer reuses the start tag of an element written before when the next one is set up
// alike; any difference in what the tag is made of must still show.
constexpr std::u16string_view kOne = u"one";
constexpr std::u16string_view kTwo = u"two";
constexpr std::u16string_view kReturn = u"a\rb";
constexpr std::u16string_view kT = u"urn:t";

void Typed(EnvelopeWriter& out, std::u16string_view value, std::u16string_view text = {}) {
    out.Open({}, u"v");
    out.SetAttribute(u"t", u"k", kT, value);
    out.Text(text);
    out.Close();
}

TEST(EnvelopeWriterRepeats, EveryPartOfAStartTagStillCounts) {
    WMString text;
    {
        EnvelopeWriter out(text);
        out.Open(u"e", u"root");
        out.DeclarePrefix(u"e", u"urn:e");
        Typed(out, kOne, u"1");
        Typed(out, kOne, u"2");
        Typed(out, kTwo);
        out.Open(u"e", u"v");  // the same local name under a prefix
        out.SetAttribute(u"t", u"k", kT, kOne);
        out.Close();
        out.Open(u"e", u"in");  // a parent that declares the prefix already
        out.DeclarePrefix(u"t", kT);
        Typed(out, kOne);
        out.Close();
        Typed(out, kOne);
        Typed(out, kReturn);
        out.EscapeCarriageReturns(true);
        Typed(out, kReturn);
        out.Close();
    }
    ExpectText(text, "EveryPartOfAStartTagStillCounts 1");
}

// With hoisting on, a prefix is declared once on the outermost element, unless it is bound to
// another URI where it is used; the text is escaped as without it.
TEST(EnvelopeWriterHoisting, PrefixesBoundOnceUnlessShadowed) {
    WMString text;
    {
        EnvelopeWriter out(text);
        out.HoistDeclarations(true);
        out.EscapeCarriageReturns(true);
        out.Open(u"e", u"root");
        out.DeclarePrefix(u"e", u"urn:e");
        Typed(out, kOne, u"1");
        Typed(out, kOne, u"a\rb");
        out.Open(u"e", u"in");
        out.DeclarePrefix(u"t", u"urn:other");  // shadows the hoisted binding below it
        Typed(out, kOne);
        out.Close();
        Typed(out, kOne);
        out.Open({}, u"d");  // a default namespace would capture every unqualified name
        out.DeclarePrefix({}, kT);
        out.Text(u"<&>\"'\r");
        out.Close();
        Typed(out, u"<&>\"'\r");
        out.Close();
    }
    ExpectText(text, "PrefixesBoundOnceUnlessShadowed 1");
}

// A content type as parsed: "soap12 hasAction action", or "refused".
std::string Parsed(std::string const& type) {
    soap12::MediaType parsed;
    return soap12::ParseContentType(type, parsed)
               ? std::to_string(parsed.soap12) + " " + std::to_string(parsed.hasAction) + " " +
                     parsed.action
               : "refused";
}

TEST(Soap12, ContentTypeCarriesTheActionBothWays) {
    EXPECT_EQ(soap12::RequestContentType(""), "application/soap+xml; charset=utf-8");
    std::string const type = soap12::RequestContentType("urn:a\"b\\c;d");
    EXPECT_EQ(type, R"(application/soap+xml; charset=utf-8; action="urn:a\"b\\c;d")");
    // Case-insensitive names, unquoted values, parameters in any order; 1.1 is not 1.2.
    EXPECT_EQ(Parsed(type) + "|" + Parsed("Application/SOAP+XML;ACTION=urn:x ; charset=UTF-8") +
                  "|" + Parsed("text/xml; charset=utf-8") + "|" + Parsed("garbage"),
              "1 1 urn:a\"b\\c;d|1 1 urn:x|0 0 |refused");
}

TEST(Soap12, CodesMapBetweenVersions) {
    struct Case {
        char16_t const* caller;
        char16_t const* value;
        char16_t const* back;
    };
    for (Case const& c :
         {Case{u"SOAP-ENV:Client", u"Sender", u"SOAP-ENV:Client"},
          Case{u"soap:Client.Authentication", u"Sender", u"SOAP-ENV:Client"},
          Case{u"SOAP-ENV:Server", u"Receiver", u"SOAP-ENV:Server"},
          Case{u"SOAP-ENV:MustUnderstand", u"MustUnderstand", u"SOAP-ENV:MustUnderstand"},
          Case{u"SOAP-ENV:VersionMismatch", u"VersionMismatch", u"SOAP-ENV:VersionMismatch"},
          Case{u"app:Overdrawn", u"Receiver", u"SOAP-ENV:Server"}}) {
        soap12::Code const value = soap12::ValueOf(c.caller);
        EXPECT_EQ(value.local, c.value) << Narrow(c.caller);
        EXPECT_EQ(soap12::CallerCode(value), c.back) << Narrow(c.caller);
    }
    EXPECT_EQ(soap12::CallerCode({u"urn:other", u"Sender"}), u"SOAP-ENV:Server");
}

TEST(Soap12, FaultsRoundTripInBothVersions) {
    soap12::Fault fault;
    fault.code = u"SOAP-ENV:Client";
    fault.subcodes = {{u"urn:app", u"Outer"}, {u"urn:deep", u"Inner"}};
    fault.reason = u"bad <input> & more";
    fault.node = u"http://node/";
    fault.role = u"http://role/";
    fault.hasDetail = true;
    fault.detail = u"<m:why xmlns:m=\"urn:m\">length</m:why>";

    WMString text;
    soap12::Fault read = RoundTrip(12, fault, text);
    EXPECT_NE(text.find(u"<env:Value>env:Sender</env:Value>"), WMString::npos);
    EXPECT_NE(text.find(u"xml:lang=\"en\""), WMString::npos);
    // A detail entry stands alone: it declares every prefix in scope where it was.
    ExpectText(deser_test::Wide(Fields(read)), "FaultsRoundTripInBothVersions 1");

    // 1.1 keeps the caller's code as written and has neither role nor subcodes.
    read = RoundTrip(11, fault, text);
    ExpectText(deser_test::Wide(Fields(read)), "FaultsRoundTripInBothVersions 2");
}

TEST(Soap12, ReadsFaultsOfOtherWriters) {
    // Another prefix for the envelope, the code's prefix declared on the envelope, a second
    // language, a detail entry using a prefix declared above it.
    WMString text =
        u"<?xml version='1.0'?><!-- x --><s:Envelope "
        u"xmlns:s='http://www.w3.org/2003/05/soap-envelope' xmlns:m='urn:m'>"
        u"<s:Body><s:Fault><s:Code><s:Value> s:Receiver </s:Value></s:Code>"
        u"<s:Reason><s:Text xml:lang='de'>kaputt</s:Text><s:Text xml:lang='en'>broken</s:Text>"
        u"</s:Reason><s:Detail><m:e>1</m:e></s:Detail></s:Fault></s:Body></s:Envelope>";
    soap12::DeclareXmlPrefix(text);
    corvane::detail::XMLDocument document;
    int line = 1;
    ASSERT_TRUE(document.Read(text, line, true, nullptr));
    EXPECT_EQ(soap12::EnvelopeVersion(*document.Root()), 12);
    soap12::Fault fault;
    ASSERT_TRUE(soap12::ReadFault(*document.Root(), fault));
    ExpectText(deser_test::Wide(Fields(fault)), "ReadsFaultsOfOtherWriters 1");

    WMString const plain =
        u"<e:Envelope xmlns:e='http://www.w3.org/2003/05/soap-envelope'>"
        u"<e:Body><x/></e:Body></e:Envelope>";
    ASSERT_TRUE(document.Read(plain, line, true, nullptr));
    EXPECT_FALSE(soap12::ReadFault(*document.Root(), fault));
    WMString const bare = u"<Envelope/>";  // the document reads the text in place
    ASSERT_TRUE(document.Read(bare, line, true, nullptr));
    EXPECT_EQ(soap12::EnvelopeVersion(*document.Root()), 0);
}

}  // namespace
