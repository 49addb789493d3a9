// WMSOAPClient in the standard wire mode against the canned-answer loopback server.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/peer_calls.h"
#include "support/values.h"

namespace corvane::test {
namespace {

std::string const kSwapAnswer =
    HttpAnswer("HTTP/1.1 200 OK", "text/xml; charset=utf-8", CannedEnvelope("wire swap"));

class WireClient : public ::testing::Test {
protected:
    // calls.wsdl with the given address.
    WMString Description(std::string const& address) {
        return DescriptionCopy(dir_, "client/calls.wsdl", "http://127.0.0.1:PORT/svc", address);
    }

    bool Initialize() {
        client_.SetWireOptions(Wire(true));
        return client_.Initialize(
            Description("http://127.0.0.1:" + std::to_string(server_.Port()) + "/svc"), u"Calls",
            u"CallsPort", u"", u"tester", u"", false);
    }

    bool Swap() {
        WMString names[2] = {u"a", u"b"};
        WMSOAPStructMember values[2] = {WMSOAPStructMember(u"a", WMString(u"Gr\u00fc\u00dfe")),
                                        WMSOAPStructMember(u"b", 7)};
        return client_.InvokeSOAPMethod(u"swap", names, values, 2, returned_);
    }

    TempDir dir_;
    LoopbackServer server_;
    WMSOAPClient client_;
    WMSOAPStructMember returned_;
};

TEST_F(WireClient, CallsTheAddressOverHttp11WithoutAProbe) {
    server_.SetAnswer(kSwapAnswer);
    ASSERT_TRUE(Initialize());
    EXPECT_TRUE(client_.IsInitialized());
    EXPECT_TRUE(client_.GetWireOptions().standard);
    EXPECT_FALSE(server_.HasRequest(1));  // no CheckSSL

    ASSERT_TRUE(Swap());
    EXPECT_EQ(FaultOf(client_) + " " + Show(returned_), "none \"T\xC5\x8Dky\xC5\x8D\"");
    std::string const request = server_.Request(1);
    EXPECT_EQ(
        request.rfind(
            "POST /svc HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server_.Port()) + "\r\n", 0),
        0u);
    // Values are typed by the description, also in a message started afresh.
    for (char const* part :
         {"SOAPAction: \"urn:calls#swap\"\r\n", "Gr\xC3\xBC\xC3\x9F", "<b xsi:type=\"xsd:int\""}) {
        EXPECT_TRUE(Contains(request, part)) << part;
    }
    EXPECT_NE(request.back(), '\0');
    ASSERT_TRUE(client_.NewMessage());
    ASSERT_TRUE(Swap());
    EXPECT_TRUE(Contains(server_.Request(2), "<b xsi:type=\"xsd:int\""));
}

TEST_F(WireClient, AFailedExchangeKeepsItsReasonAndTheNextCallStartsAfresh) {
    server_.SetAnswer(1, HttpAnswer("HTTP/1.1 404 Not Found", "text/html", "gone"));
    server_.SetAnswer(2, kSwapAnswer);
    ASSERT_TRUE(Initialize());
    WMSOAPStructMember session(u"session", WMString(u"s-1"));
    ASSERT_TRUE(
        client_.SetRequestHeaderEntry(u"urn:calls:session", u"", u"session", session, false));

    returned_ = WMSOAPStructMember(u"kept", 1);
    EXPECT_FALSE(Swap());
    EXPECT_EQ(FaultOf(client_) + " " + Show(returned_),
              "SOAP-ENV:Client|HTTP Client Error: Not Found.| 1");

    // The header entry set for the failed call goes with the next one; the fault does not.
    ASSERT_TRUE(Swap());
    EXPECT_EQ(FaultOf(client_), "none");
    std::string const request = server_.Request(2);
    EXPECT_TRUE(Contains(request, ">s-1</"));
    EXPECT_FALSE(Contains(request, "Fault"));
    EXPECT_EQ(request.find(">7</b>"), request.rfind(">7</b>"));

    server_.Stop();
    EXPECT_FALSE(Swap());
    EXPECT_EQ(FaultOf(client_), "SOAP-ENV:Client|Could not connect to 127.0.0.1:" +
                                    std::to_string(server_.Port()) + ": connection refused.|");
}

TEST_F(WireClient, TheAddressSchemeChoosesTlsAndTheDefaultIgnoresIt) {
    // Address, wire mode => port, TLS, request target (the host is example.test throughout).
    const std::pair<std::string, std::string> cases[] = {
        {"https://example.test/svc standard", "443 1 /svc"},
        {"HTTPS://example.test:8443/svc?x standard", "8443 1 /svc?x"},
        {"http://example.test/svc standard", "80 0 /svc"},
        {"https://example.test/svc default", "80 0 /svc"},
    };
    for (const auto& [input, expected] : cases) {
        const std::string address = input.substr(0, input.find(' '));
        WMSOAPWSDLClient wsdl;
        WMWireOptions options;
        options.standard = input.find("standard") != std::string::npos;
        wsdl.SetWireOptions(options);
        ASSERT_TRUE(wsdl.ReadServiceDesc(u"Calls", u"CallsPort", Description(address)));
        EXPECT_EQ(Narrow(wsdl.GetSOAPSvcLocation()), address);
        EXPECT_EQ(Narrow(wsdl.GetSOAPSvcHost()), "example.test") << address;
        EXPECT_EQ(std::to_string(wsdl.GetSOAPSvcPortNbr()) + " " +
                      std::to_string(wsdl.GetSSLEnabled()) + " " + Narrow(wsdl.GetSOAPSvcURI()),
                  expected)
            << input;
    }
}

}  // namespace
}  // namespace corvane::test
