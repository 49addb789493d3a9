// SOAP 1.2 faults written and read back, and the envelope writer's reuse of start tags.
#include <gtest/gtest.h>

#include <string_view>

#include "soap/envelope_writer.h"
#include "soap/soap12.h"
#include "xml/reader.h"

namespace soap12 = corvane::detail::soap12;

namespace {

using corvane::detail::EnvelopeWriter;

std::string Narrow(WMString const& text) {
    return std::string(text.begin(), text.end());
}

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
    EXPECT_EQ(text,
              u"<e:root xmlns:e=\"urn:e\">"
              u"<v t:k=\"one\" xmlns:t=\"urn:t\">1</v>"
              u"<v t:k=\"one\" xmlns:t=\"urn:t\">2</v>"
              u"<v t:k=\"two\" xmlns:t=\"urn:t\" />"
              u"<e:v t:k=\"one\" xmlns:t=\"urn:t\" />"
              u"<e:in xmlns:t=\"urn:t\"><v t:k=\"one\" /></e:in>"
              u"<v t:k=\"one\" xmlns:t=\"urn:t\" />"
              u"<v t:k=\"a\rb\" xmlns:t=\"urn:t\" />"
              u"<v t:k=\"a&#xD;b\" xmlns:t=\"urn:t\" />"
              u"</e:root>");
}

}  // namespace

TEST(Soap12, ContentTypeCarriesTheActionBothWays) {
    EXPECT_EQ(soap12::RequestContentType(""), "application/soap+xml; charset=utf-8");
    std::string const type = soap12::RequestContentType("urn:a\"b\\c;d");
    EXPECT_EQ(type, R"(application/soap+xml; charset=utf-8; action="urn:a\"b\\c;d")");
    soap12::MediaType parsed;
    ASSERT_TRUE(soap12::ParseContentType(type, parsed));
    EXPECT_TRUE(parsed.soap12);
    EXPECT_TRUE(parsed.hasAction);
    EXPECT_EQ(parsed.action, "urn:a\"b\\c;d");

    // Case-insensitive names, unquoted values, parameters in any order; 1.1 is not 1.2.
    ASSERT_TRUE(
        soap12::ParseContentType("Application/SOAP+XML;ACTION=urn:x ; charset=UTF-8", parsed));
    EXPECT_TRUE(parsed.soap12);
    EXPECT_EQ(parsed.action, "urn:x");
    ASSERT_TRUE(soap12::ParseContentType("text/xml; charset=utf-8", parsed));
    EXPECT_FALSE(parsed.soap12);
    EXPECT_FALSE(parsed.hasAction);
    EXPECT_FALSE(soap12::ParseContentType("garbage", parsed));
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
    EXPECT_EQ(
        Fields(read),
        "SOAP-ENV:Client|http://www.w3.org/2003/05/soap-envelope Sender|urn:app Outer,urn:deep "
        "Inner,|bad <input> & more|en|http://node/|http://role/|<m:why "
        "xmlns:env=\"http://www.w3.org/2003/05/soap-envelope\" xmlns:m=\"urn:m\" "
        "xmlns:xml=\"http://www.w3.org/XML/1998/namespace\">length</m:why>|detail");

    // 1.1 keeps the caller's code as written and has neither role nor subcodes.
    read = RoundTrip(11, fault, text);
    EXPECT_EQ(Fields(read),
              "SOAP-ENV:Client|http://www.w3.org/2003/05/soap-envelope Sender||bad <input> & "
              "more|en|http://node/||<m:why xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/"
              "envelope/\" xmlns:m=\"urn:m\">length</m:why>|detail");
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
    EXPECT_EQ(Fields(fault),
              "SOAP-ENV:Server|http://www.w3.org/2003/05/soap-envelope Receiver||kaputt|de|||<m:e "
              "xmlns:m=\"urn:m\" xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
              "xmlns:xml=\"http://www.w3.org/XML/1998/namespace\">1</m:e>|detail");

    WMString const plain =
        u"<e:Envelope xmlns:e='http://www.w3.org/2003/05/soap-envelope'>"
        u"<e:Body><x/></e:Body></e:Envelope>";
    ASSERT_TRUE(document.Read(plain, line, true, nullptr));
    EXPECT_FALSE(soap12::ReadFault(*document.Root(), fault));
    WMString const bare = u"<Envelope/>";  // the document reads the text in place
    ASSERT_TRUE(document.Read(bare, line, true, nullptr));
    EXPECT_EQ(soap12::EnvelopeVersion(*document.Root()), 0);
}
