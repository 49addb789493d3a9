// A client remembers what the description says of the operation it calls; Initialize with
// another description must make it forget.
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

TEST(CallMemo, InitializeWithAnotherDescriptionForgetsTheOperation) {
    LoopbackServer server;
    for (int connection : {1, 2, 3, 4}) {  // each Initialize probes CheckSSL, then swap
        server.SetAnswer(
            connection, HttpAnswer("HTTP/1.1 200 OK", "text/xml",
                                   CannedEnvelope(connection % 2 ? "CheckSSL 0" : "swap nothing")));
    }
    TempDir dir;
    std::string const wsdl =
        Replaced(ReadFile(DataPath("client/calls.wsdl")), "PORT", std::to_string(server.Port()));
    // The same operation with another action and namespace, and without the part "b".
    std::string const other =
        Replaced(Replaced(Replaced(wsdl, "urn:calls#swap", "urn:other#swap"),
                          "namespace=\"urn:calls\"", "namespace=\"urn:other\""),
                 "<part name=\"b\" type=\"xsd:int\"/>", "");
    WMString names[2] = {u"a", u"b"};
    WMSOAPStructMember values[2] = {WMSOAPStructMember(u"a", WMString(u"x")),
                                    WMSOAPStructMember(u"b", 7)};
    WMSOAPStructMember returned;
    WMSOAPClient client;
    ASSERT_TRUE(client.Initialize(u"file://" + Widen(dir.Write("calls.wsdl", wsdl)), u"Calls",
                                  u"CallsPort", u"", u"Test", u"", false));
    ASSERT_TRUE(client.InvokeSOAPMethod(u"swap", names, values, 2, returned));
    ASSERT_TRUE(client.Initialize(u"file://" + Widen(dir.Write("other.wsdl", other)), u"Calls",
                                  u"CallsPort", u"", u"Test", u"", false));
    ASSERT_TRUE(client.InvokeSOAPMethod(u"swap", names, values, 2, returned));

    std::string const before = server.Request(2);
    EXPECT_NE(before.find("SOAPAction: \"urn:calls#swap\""), std::string::npos);
    EXPECT_NE(before.find(">7</b>"), std::string::npos);
    std::string const after = server.Request(4);
    EXPECT_NE(after.find("SOAPAction: \"urn:other#swap\""), std::string::npos);
    EXPECT_NE(after.find("xmlns:m=\"urn:other\""), std::string::npos);
    EXPECT_EQ(after.find("</b>"), std::string::npos);
}

}  // namespace
}  // namespace corvane::test
