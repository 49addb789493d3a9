// The automation proxy in the standard wire mode against the canned-answer loopback server.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>

#include "support/peer_calls.h"

namespace corvane::test {
namespace {

TEST(WireProxy, PostsUtf8WithByteLengthAndNothingAfterTheBody) {
    LoopbackServer server;
    server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", "text/xml; charset=utf-8",
                                "<r>\xE6\x9D\xB1\xF0\x9F\x98\x80</r>"));
    WMSOAPAutomationProxy proxy = ProxyIn(true);
    WMSOAPMessage message;
    message.SetBuffer(u"<x>Gr\u00fc\u00dfe \U0001F600</x>");
    ASSERT_EQ(ProxyExchange(proxy, server.Port(), message), u"");
    const std::string body =
        "<x>Gr\xC3\xBC\xC3\x9F"
        "e \xF0\x9F\x98\x80</x>";
    EXPECT_EQ(server.Request(1),
              "POST /svc HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.Port()) +
                  "\r\nUser-Agent: tester\r\nContent-Type: text/xml; "
                  "charset=utf-8\r\nSOAPAction: \"urn:a\"\r\n"
                  "Content-Length: " +
                  std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_EQ(proxy.GetXMLIn(), u"<r>\u6771\U0001F600</r>");
    EXPECT_EQ(*message.GetBufferPtr(), u"<r>\u6771\U0001F600</r>");
    EXPECT_EQ(proxy.GetWireOptions().standard, true);
    // The server closed the connection after its answer: the kept one is found stale and the
    // next exchange goes out on a new one.
    ASSERT_EQ(ProxyExchange(proxy, server.Port(), message), u"");
    EXPECT_TRUE(server.HasRequest(2));
}

TEST(WireProxy, DecodesTheAnswerByItsMarkOrCharset) {
    for (const TableRow& row : ReadTable("expected/client/wire_answers.txt")) {
        const std::size_t bar = row.input.find(" | ");
        LoopbackServer server;
        server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", row.input.substr(0, bar),
                                    Narrow(Unescape(row.input.substr(bar + 3)))));
        WMSOAPAutomationProxy proxy = ProxyIn(true);
        WMSOAPMessage message;
        message.SetBuffer(u"<q/>");
        const bool fault = row.expected.rfind("! ", 0) == 0;
        EXPECT_EQ(ProxyExchange(proxy, server.Port(), message),
                  fault ? Widen(row.expected.substr(2)) : u"")
            << row.where;
        EXPECT_EQ(proxy.GetXMLIn(), fault ? u"" : Unescape(row.expected)) << row.where;
    }
}

TEST(WireProxy, FailuresSayWhy) {
    WMSOAPAutomationProxy proxy = ProxyIn(true);
    WMSOAPMessage message;
    message.SetBuffer(u"<x>\xD83D</x>");
    const std::string closed = std::to_string(UnusedPort());
    EXPECT_EQ(ProxyExchange(proxy, std::stoi(closed), message),
              u"Request Message: The request holds an unpaired surrogate at 3.");
    EXPECT_EQ(*message.GetBufferPtr(), u"<x>\xD83D</x>");  // left with the message
    message.SetBuffer(u"<x/>");
    EXPECT_EQ(
        Narrow(ProxyExchange(proxy, std::stoi(closed), message)),
        "Request Message: Could not connect to 127.0.0.1:" + closed + ": connection refused.");
    // A whole URL as the path names the endpoint; host and port are not used.
    EXPECT_EQ(
        Narrow(ProxyExchange(proxy, 1, message, Widen("http://127.0.0.2:" + closed + "/x"))),
        "Request Message: Could not connect to 127.0.0.2:" + closed + ": connection refused.");
    // A copy keeps the options but not the connection.
    WMSOAPAutomationProxy copy(proxy);
    EXPECT_TRUE(copy.GetWireOptions().standard);
}

}  // namespace
}  // namespace corvane::test
