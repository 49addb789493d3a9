// What a client keeps from call to call to save work: what the description says of the
// operation it calls and the serializer's answers from it (Initialize with another description
// must make it forget both), and the answer's text taken by its length (which a zero byte in the
// answer cuts, as the zero-terminated text does).
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>

#include "support/peer_calls.h"

namespace corvane::test {
namespace {

std::string Replaced(std::string text, std::string const& from, std::string const& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
        text.replace(at, from.size(), to);
        at += to.size();
    }
    return text;
}

// A client calling swap(a = "x", b = 7) on the descriptions it is given.
struct SwapClient {
    TempDir dir;  // outlives the client, as the files it loaded would
    WMString names[2] = {u"a", u"b"};
    WMSOAPStructMember values[2] = {WMSOAPStructMember(u"a", WMString(u"x")),
                                    WMSOAPStructMember(u"b", 7)};
    WMSOAPStructMember returned;
    WMSOAPClient client;

    bool Use(char const* file, std::string const& wsdl) {
        return client.Initialize(u"file://" + Widen(dir.Write(file, wsdl)), u"Calls", u"CallsPort",
                                 u"", u"Test", u"", false);
    }
    bool Swap() { return client.InvokeSOAPMethod(u"swap", names, values, 2, returned); }
};

std::string Envelope(std::string const& body) {
    return "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\">"
           "<SOAP-ENV:Body>" +
           body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

TEST(CallMemo, InitializeWithAnotherDescriptionForgetsTheOperation) {
    LoopbackServer server;
    for (int connection : {1, 2, 3, 4}) {  // each Initialize probes CheckSSL, then swap
        server.SetAnswer(
            connection, HttpAnswer("HTTP/1.1 200 OK", "text/xml",
                                   CannedEnvelope(connection % 2 ? "CheckSSL 0" : "swap nothing")));
    }
    std::string const wsdl =
        Replaced(ReadFile(DataPath("client/calls.wsdl")), "PORT", std::to_string(server.Port()));
    // The same operation with another action and namespace, and without the part "b".
    std::string const other =
        Replaced(Replaced(Replaced(wsdl, "urn:calls#swap", "urn:other#swap"),
                          "namespace=\"urn:calls\"", "namespace=\"urn:other\""),
                 "<part name=\"b\" type=\"xsd:int\"/>", "");
    SwapClient swap;
    ASSERT_TRUE(swap.Use("calls.wsdl", wsdl));
    ASSERT_TRUE(swap.Swap());
    ASSERT_TRUE(swap.Use("other.wsdl", other));
    ASSERT_TRUE(swap.Swap());

    std::string const before = server.Request(2);
    EXPECT_NE(before.find("SOAPAction: \"urn:calls#swap\""), std::string::npos);
    EXPECT_NE(before.find(">7</b>"), std::string::npos);
    std::string const after = server.Request(4);
    EXPECT_NE(after.find("SOAPAction: \"urn:other#swap\""), std::string::npos);
    EXPECT_NE(after.find("xmlns:m=\"urn:other\""), std::string::npos);
    EXPECT_EQ(after.find("</b>"), std::string::npos);
}

TEST(KeptAnswers, CallsWriteAlikeUntilAnotherDescriptionChangesAPartsType) {
    LoopbackServer server;
    server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", "text/xml",
                                Envelope("<m:swapResponse xmlns:m=\"urn:calls\"/>")));
    std::string wsdl = ReadFile(DataPath("client/calls.wsdl"));
    wsdl.replace(wsdl.find("PORT"), 4, std::to_string(server.Port()));
    std::string other = wsdl;
    std::string const part = "<part name=\"b\" type=\"xsd:int\"/>";
    other.replace(other.find(part), part.size(),
                  "<part name=\"b\" xmlns:old=\"http://www.w3.org/1999/XMLSchema\" "
                  "type=\"old:int\"/>");
    SwapClient swap;
    ASSERT_TRUE(swap.Use("calls.wsdl", wsdl));
    ASSERT_TRUE(swap.Swap());
    ASSERT_TRUE(swap.Swap());
    ASSERT_TRUE(swap.Use("other.wsdl", other));
    ASSERT_TRUE(swap.Swap());

    // Connections 1 and 4 carry the probes of the two Initialize calls.
    EXPECT_EQ(server.Request(2), server.Request(3));
    EXPECT_EQ(server.Request(2).find("1999/XMLSchema"), std::string::npos);
    EXPECT_NE(server.Request(5).find("<b xsi:type=\"ns:string\" "
                                     "xmlns:ns=\"http://www.w3.org/1999/XMLSchema\""),
              std::string::npos);
}

TEST(KeptAnswers, AnswerTextEndsAtAZeroByte) {
    LoopbackServer server;
    std::string const body = Envelope("<a>x") + std::string(1, '\0') + "y</a>";
    server.SetAnswer(HttpAnswer("HTTP/1.0 200 OK", "text/xml", body));
    WMSOAPAutomationProxy proxy;
    WMSOAPMessage message;
    message.SetBuffer(u"<request/>");
    ASSERT_TRUE(
        proxy.InvokeSOAPMethod(u"\"urn:a\"", u"127.0.0.1", server.Port(), u"/", u"t", message));
    EXPECT_EQ(proxy.GetXMLIn(), Widen(body.substr(0, body.find('\0'))));
    EXPECT_EQ(proxy.GetXMLInLength(), body.find('\0'));
}

}  // namespace
}  // namespace corvane::test
