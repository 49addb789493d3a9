// WMSOAPClient in the standard wire mode against the canned-answer loopback server.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/loopback.h"
#include "support/support.h"

namespace corvane::test {
namespace {

std::string Ok(std::string const& body) {
    return HttpAnswer("HTTP/1.1 200 OK", "text/xml; charset=utf-8",
                      "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/"
                      "envelope/\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                      "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><SOAP-ENV:Body>" +
                          body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>");
}

std::string const kSwapAnswer =
    Ok("<m:swapResponse xmlns:m=\"urn:calls\"><return xsi:type=\"xsd:string\">"
       "T\xC5\x8Dky\xC5\x8D</return></m:swapResponse>");

bool Contains(std::string const& text, std::string const& part) {
    return text.find(part) != std::string::npos;
}

class WireClient : public ::testing::Test {
protected:
    // calls.wsdl with the given address (PORT stands for the server's port).
    WMString Description(std::string address) {
        std::size_t const port = address.find("PORT");
        if (port != std::string::npos) {
            address.replace(port, 4, std::to_string(server_.Port()));
        }
        std::string wsdl = ReadFile(DataPath("client/calls.wsdl"));
        std::string const original = "http://127.0.0.1:PORT/svc";
        wsdl.replace(wsdl.find(original), original.size(), address);
        return u"file://" + Widen(dir_.Write("calls.wsdl", wsdl));
    }

    bool Initialize(std::string const& address = "http://127.0.0.1:PORT/svc") {
        WMWireOptions options;
        options.standard = true;
        options.gzip = false;
        client_.SetWireOptions(options);
        return client_.Initialize(Description(address), u"Calls", u"CallsPort", u"", u"tester", u"",
                                  false);
    }

    bool Swap() {
        WMString names[2] = {u"a", u"b"};
        WMSOAPStructMember values[2] = {WMSOAPStructMember(u"a", WMString(u"Gr\u00fc\u00dfe")),
                                        WMSOAPStructMember(u"b", 7)};
        return client_.InvokeSOAPMethod(u"swap", names, values, 2, returned_);
    }

    WMString FaultString() {
        WMString text;
        client_.GetSOAPFaultString(text);
        return text;
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
    EXPECT_FALSE(client_.IsSOAPFault());
    EXPECT_EQ(returned_.StringValue(), u"T\u014dky\u014d");
    std::string const request = server_.Request(1);
    EXPECT_EQ(
        request.rfind(
            "POST /svc HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server_.Port()) + "\r\n", 0),
        0u);
    EXPECT_TRUE(Contains(request, "SOAPAction: \"urn:calls#swap\"\r\n"));
    EXPECT_TRUE(Contains(request,
                         "Gr\xC3\xBC\xC3\x9F"
                         "e"));
    EXPECT_NE(request.back(), '\0');
    // Values are typed by the description, also in a message started afresh.
    EXPECT_TRUE(Contains(request, "<b xsi:type=\"xsd:int\""));
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
    EXPECT_TRUE(client_.IsSOAPFault());
    EXPECT_EQ(FaultString(), u"HTTP Client Error: Not Found.");
    WMString code;
    client_.GetSOAPFaultCode(code);
    EXPECT_EQ(code, u"SOAP-ENV:Client");
    EXPECT_EQ(returned_.LongValue(), 1);

    // The header entry set for the failed call goes with the next one; the fault does not.
    ASSERT_TRUE(Swap());
    EXPECT_FALSE(client_.IsSOAPFault());
    std::string const request = server_.Request(2);
    EXPECT_TRUE(Contains(request, ">s-1</"));
    EXPECT_FALSE(Contains(request, "Fault"));
    EXPECT_EQ(request.find(">7</b>"), request.rfind(">7</b>"));

    server_.Stop();
    EXPECT_FALSE(Swap());
    EXPECT_EQ(Narrow(FaultString()), "Could not connect to 127.0.0.1:" +
                                         std::to_string(server_.Port()) + ": connection refused.");
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
