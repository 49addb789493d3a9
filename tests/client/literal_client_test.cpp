// Document/literal calls against PHP's SoapServer in WSDL mode and gSOAP's server generated from
// the same description, on loopback (tests/peers/doclit): values by the schema both ways, typed
// fault detail, values refused before sending, and the default that still refuses a
// document-style operation.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>

#include "support/peer_calls.h"
#include "support/value_text.h"

namespace corvane::test {
namespace {

// Initializes `client` on the echo service of peer `kind`, the document/literal setting as given.
::testing::AssertionResult Start(WMSOAPClient& client, std::string const& kind, bool literal) {
#ifdef CORVANE_GSOAP_DOCLIT_PEER
    RunningPeer& peer =
        PeerOf(kind, kind == "gsoap-doclit" ? " '" CORVANE_GSOAP_DOCLIT_PEER "'" : "");
#else
    RunningPeer& peer = PeerOf(kind);
#endif
    if (!peer.up) {
        return ::testing::AssertionFailure() << "the " << kind << " server did not start";
    }
    // gSOAP serves no description: the client reads the peer's file, addressed to the port.
    WMString const location =
        kind == "gsoap-doclit"
            ? DescriptionCopy(peer.dir, "../peers/doclit/echo_doclit.wsdl", "http://127.0.0.1/echo",
                              "http://127.0.0.1:" + peer.port + "/echo")
            : u"http://127.0.0.1:" + Widen(peer.port) + u"/?wsdl";
    WMWireOptions wire;
    wire.standard = true;
    wire.documentLiteral = literal;
    client.SetWireOptions(wire);
    return client.Initialize(location, u"EchoService",
                             kind == "doclit12" ? u"EchoSoap12Port" : u"EchoPort", u"", u"test",
                             u"", false)
               ? ::testing::AssertionSuccess()
               : ::testing::AssertionFailure() << "no client of " << kind;
}

class LiteralCall : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override { ASSERT_TRUE(Start(client_, GetParam(), true)); }

    WMSOAPClient client_;
};

TEST_P(LiteralCall, EchoesEveryShapeExactly) {
    for (TableRow const& row : ReadTable("expected/client/literal_calls.txt")) {
        EXPECT_EQ(CallOf(client_, row.input), Exactly(row.expected)) << row.where;
    }
}

TEST_P(LiteralCall, ReadsTypedFaultDetailAndRefusesValuesBeforeSending) {
    EXPECT_EQ(CallOf(client_, "echoString {text=\"raise-fault\"}"),
              "fault SOAP-ENV:Server|Fault raised on request|");
    WMSOAPStructMember detail;
    ASSERT_TRUE(client_.GetFaultDetailEntry(u"urn:corvane:echo", u"echoFault", detail));
    EXPECT_EQ(Show(detail), "{code=42,message=\"raise-fault\"}");

    unsigned long const sent = client_.GetXMLOutLength();
    std::string const refused = CallOf(client_, "echoInt {value=\"12a\"}");
    EXPECT_EQ(refused.rfind(
                  "failed: SOAP-ENV:Client|Element 'value': the value is not a valid int.|;", 0),
              0u)
        << refused;
    EXPECT_EQ(client_.GetXMLOutLength(), sent);  // nothing went out
    // And the client goes on afterwards.
    EXPECT_EQ(CallOf(client_, "echoInt {value=7}"), "{return=7}");
}

INSTANTIATE_TEST_SUITE_P(Php, LiteralCall, ::testing::Values("doclit", "doclit12"));
#ifdef CORVANE_GSOAP_DOCLIT_PEER
INSTANTIATE_TEST_SUITE_P(Gsoap, LiteralCall, ::testing::Values("gsoap-doclit"));
#endif

TEST(LiteralCallDefault, RefusesDocumentStyleWithoutTheSetting) {
    WMSOAPClient client;
    ASSERT_TRUE(Start(client, "doclit", false));
    EXPECT_EQ(CallOf(client, "echoString {text=\"x\"}").rfind("failed: ", 0), 0u);
    EXPECT_EQ(client.GetXMLOutLength(), 0u);
}

}  // namespace
}  // namespace corvane::test
