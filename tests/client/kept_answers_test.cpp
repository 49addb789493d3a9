// What a client keeps from call to call to save work: the serializer's answers from the
// description (forgotten with the description) and the answer's text taken by its length (which
// a zero byte in the answer cuts, as the zero-terminated text does).
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/loopback.h"
#include "support/support.h"

namespace corvane::test {
namespace {

std::string Envelope(std::string const& body) {
    return "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\">"
           "<SOAP-ENV:Body>" +
           body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

TEST(KeptAnswers, CallsWriteAlikeUntilAnotherDescriptionChangesAPartsType) {
    LoopbackServer server;
    server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", "text/xml",
                                Envelope("<m:swapResponse xmlns:m=\"urn:calls\"/>")));
    TempDir dir;
    std::string wsdl = ReadFile(DataPath("client/calls.wsdl"));
    wsdl.replace(wsdl.find("PORT"), 4, std::to_string(server.Port()));
    std::string other = wsdl;
    std::string const part = "<part name=\"b\" type=\"xsd:int\"/>";
    other.replace(other.find(part), part.size(),
                  "<part name=\"b\" xmlns:old=\"http://www.w3.org/1999/XMLSchema\" "
                  "type=\"old:int\"/>");
    WMString names[2] = {u"a", u"b"};
    WMSOAPStructMember values[2] = {WMSOAPStructMember(u"a", WMString(u"x")),
                                    WMSOAPStructMember(u"b", 7)};
    WMSOAPStructMember returned;
    WMSOAPClient client;
    ASSERT_TRUE(client.Initialize(u"file://" + Widen(dir.Write("calls.wsdl", wsdl)), u"Calls",
                                  u"CallsPort", u"", u"Test", u"", false));
    ASSERT_TRUE(client.InvokeSOAPMethod(u"swap", names, values, 2, returned));
    ASSERT_TRUE(client.InvokeSOAPMethod(u"swap", names, values, 2, returned));
    ASSERT_TRUE(client.Initialize(u"file://" + Widen(dir.Write("other.wsdl", other)), u"Calls",
                                  u"CallsPort", u"", u"Test", u"", false));
    ASSERT_TRUE(client.InvokeSOAPMethod(u"swap", names, values, 2, returned));

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
