// Whole calls against real SOAP servers on loopback: PHP's SoapServer and SOAP::Lite, both
// serving the SOAPBuilders round 2 base operations (tests/peers).
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>

#include "support/peer_calls.h"
#include "support/value_text.h"

namespace corvane::test {
namespace {

class PeerCall : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        RunningPeer& peer = PeerOf(GetParam());
        ASSERT_TRUE(peer.up) << "the " << GetParam() << " server did not start";
        // PHP serves the WSDL, naming its own address; SOAP::Lite serves none.
        WMString const location =
            GetParam() == "php"
                ? u"http://127.0.0.1:" + Widen(peer.port) + u"/round2_base.wsdl"
                : DescriptionCopy(peer.dir, "wsdl/round2_base.wsdl", "location=\"round2_base.inc\"",
                                  "location=\"http://127.0.0.1:" + peer.port + "/\"");
        ASSERT_TRUE(client_.Initialize(location, u"InteropTest", u"InteropTestPort", u"",
                                       u"CorvaneTest/1.0", u"", false));
    }

    WMSOAPClient client_;
};

TEST_P(PeerCall, EchoesComeBackAsSent) {
    for (TableRow const& row : ReadTable("expected/client/peer_calls.txt")) {
        EXPECT_EQ(CallOf(client_, row.input), Exactly(row.expected)) << row.where;
    }
    // The last call's float went out with six decimals, typed as a string of the schema
    // namespace like every built-in value.
    EXPECT_NE(client_.GetXMLOut()->find(u">3.141593<"), WMString::npos);
    EXPECT_NE(client_.GetXMLOut()->find(u"ns:string"), WMString::npos);
}

TEST_P(PeerCall, FaultsWithDetailAndForTextBeyondAscii) {
    EXPECT_EQ(CallOf(client_, "echoString {inputString=\"raise-fault\"}"),
              "fault " + std::string(GetParam() == "php" ? "SOAP-ENV:Server" : "soap:Server") +
                  "|Fault raised on request|http://127.0.0.1/peer-actor");
    // The round 2 description declares no fault message; the entry is read by its xsi:type.
    WMSOAPStructMember detail;
    ASSERT_TRUE(client_.GetFaultDetailEntry(u"http://soapinterop.org/", u"faultDetail", detail));
    EXPECT_EQ(Show(detail), "{varString=\"raise-fault\",varInt=42,varFloat=0.5}");
    EXPECT_FALSE(client_.GetFaultDetailEntry(u"", u"faultDetail", detail));
    // The client goes on with the next call.
    EXPECT_EQ(CallOf(client_, "echoString {inputString=\"after\"}"), "{return=\"after\"}");

    // Text goes out as ISO-8859-1 bytes under a UTF-8 declaration: both peers refuse a request
    // that holds a character beyond ASCII as malformed XML.
    std::string const fault = CallOf(client_, "echoString {inputString=\"caf\\u00e9\"}");
    if (GetParam() == "php") {
        EXPECT_EQ(fault, "fault SOAP-ENV:Client|Bad Request|");
    } else {
        EXPECT_EQ(fault.rfind("fault soap:Client|", 0), 0u) << fault;
        EXPECT_NE(fault.find("not well-formed"), std::string::npos) << fault;
    }
}

INSTANTIATE_TEST_SUITE_P(Peers, PeerCall, ::testing::Values("php", "soaplite"),
                         [](auto const& info) { return info.param; });

}  // namespace
}  // namespace corvane::test
