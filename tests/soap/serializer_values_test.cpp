// How values become elements: built-ins, nil, structs, arrays, explicit typing, and the date
// helpers and namespace tests of the serializer.
#include <corvane/message.h>
#include <corvane/serializer.h>
#include <corvane/utf8.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "soap/deserializer_test_util.h"
#include "support/values.h"

#define XSD u"http://www.w3.org/2001/XMLSchema"
#define XSI u"http://www.w3.org/2001/XMLSchema-instance"
#define TYPED u" xsi:type=\"ns:string\" xmlns:ns=\"" XSD u"\" xmlns:xsi=\"" XSI u"\""

namespace {

// The longer expected texts, by test and number within it.
WMString Expected(std::string const& name) {
    return deser_test::Golden("expected/soap/values.txt", name);
}

using corvane::test::Items;
using corvane::test::SOAPStruct;
using deser_test::Edges;
using deser_test::Round2Base;
using deser_test::Round2GroupB;

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
              Expected("NilFollowsTheSchemaNamespace 1"));
}

TEST(SerializerStruct, MembersByTheWsdlsMemberTypes) {
    WMSOAPStructMember value(u"s", SOAPStruct(u"x&y", 5, 2.25));
    EXPECT_EQ(Param(Round2Base(), u"echoStruct", u"inputStruct", value),
              Expected("MembersByTheWsdlsMemberTypes 1"));

    // Members are written in the value's order and may be left out.
    WMSOAPStructType partial;
    partial.SetMember(u"varFloat", 1.0);
    partial.SetMember(u"varString", u"b");
    EXPECT_EQ(Param(Round2Base(), u"echoStruct", u"inputStruct", WMSOAPStructMember(u"s", partial)),
              Expected("MembersByTheWsdlsMemberTypes 2"));

    // Nested struct inside a struct (group B).
    WMSOAPStructType nested;
    nested.SetMember(u"varString", u"outer");
    nested.SetMember(u"varInt", 1);
    nested.SetMember(u"varFloat", 0.0);
    nested.SetMember(u"varStruct", SOAPStruct(u"inner", 2, 3.0));
    EXPECT_EQ(Param(Round2GroupB(), u"echoNestedStruct", u"inputStruct",
                    WMSOAPStructMember(u"s", nested)),
              Expected("MembersByTheWsdlsMemberTypes 3"));

    // A member with a namespace is prefixed "nsm".
    WMSOAPStructType qualified;
    qualified.SetMemberQN(u"varString", u"http://soapinterop.org/xsd", u"q");
    EXPECT_EQ(
        Param(Round2Base(), u"echoStruct", u"inputStruct", WMSOAPStructMember(u"s", qualified)),
        Expected("MembersByTheWsdlsMemberTypes 4"));
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
              Expected("ArrayTypeComesFromTheWsdlNotFromTheValue 1"));

    // No items, or a value that is not an array: the array element alone.
    EXPECT_EQ(Param(Round2Base(), u"echoIntegerArray", u"inputIntegerArray",
                    WMSOAPStructMember(u"a", std::vector<WMSOAPStructType>())),
              Expected("ArrayTypeComesFromTheWsdlNotFromTheValue 2"));
    EXPECT_EQ(
        Param(Round2Base(), u"echoIntegerArray", u"inputIntegerArray", WMSOAPStructMember(u"a", 3)),
        Expected("ArrayTypeComesFromTheWsdlNotFromTheValue 3"));

    // Item elements are named by the members, several members per struct give several items.
    WMSOAPStructType pair;
    pair.SetMember(u"a", 1);
    pair.SetMember(u"b", 2);
    EXPECT_EQ(Param(Round2Base(), u"echoIntegerArray", u"inputIntegerArray",
                    WMSOAPStructMember(u"a", std::vector<WMSOAPStructType>{pair})),
              Expected("ArrayTypeComesFromTheWsdlNotFromTheValue 4"));

    // Structs as items; two dimensions as the WSDL declares them.
    WMSOAPStructMember structs(u"a",
                               Items({WMSOAPStructMember(u"item", SOAPStruct(u"s", 1, 0.5))}));
    EXPECT_EQ(Param(Round2Base(), u"echoStructArray", u"inputStructArray", structs),
              Expected("ArrayTypeComesFromTheWsdlNotFromTheValue 5"));
    WMSOAPStructMember grid(u"g", Items({WMSOAPStructMember(u"item", u"x")}));
    EXPECT_EQ(Param(Round2GroupB(), u"echo2DStringArray", u"input2DStringArray", grid),
              Expected("ArrayTypeComesFromTheWsdlNotFromTheValue 6"));
}

TEST(SerializerExplicitTyping, OnlyStructsAndArraysGainTypes) {
    WMSOAPStructMember value(u"s", SOAPStruct(u"v", 1, 1.0));
    // The struct binds xsi, so its members need not declare it again.
    EXPECT_EQ(Param(Round2Base(), u"echoStruct", u"inputStruct", value, true),
              Expected("OnlyStructsAndArraysGainTypes 1"));

    WMSOAPStructMember structs(u"a",
                               Items({WMSOAPStructMember(u"item", SOAPStruct(u"s", 2, 0.0))}));
    EXPECT_EQ(Param(Round2Base(), u"echoStructArray", u"inputStructArray", structs, true),
              Expected("OnlyStructsAndArraysGainTypes 2"));

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
        ASSERT_TRUE(serializer.SerializeDateTime(date, &element));
        EXPECT_EQ(element.GetText(), deser_test::Wide(row.expected));
        ASSERT_TRUE(serializer.SerializeDate(date, &element));
        EXPECT_EQ(element.GetText(),
                  deser_test::Wide(row.expected.substr(0, row.expected.find('T'))));
        ASSERT_TRUE(serializer.SerializeTime(date, &element));
        EXPECT_EQ(element.GetText(),
                  deser_test::Wide(row.expected.substr(row.expected.find('T') + 1)));
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

}  // namespace
