// The automation proxy against a loopback server that answers with canned bytes.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/peer_calls.h"

namespace corvane::test {
namespace {

std::string const kEnvelope = "<SOAP-ENV:Envelope/>";

TEST(AutomationProxy, PostsTheHeaderBlockInItsOrderAndStoresTheAnswerInCopiesToo) {
    LoopbackServer server;
    server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", "text/xml; charset=utf-8", kEnvelope));

    // One Latin-1 character and one beyond it: each is one code unit, so one byte on the wire
    // ("?" for the second) and one unit of Content-Length.
    WMString const request = u"<x>\u00e9\u4e2d</x>";
    WMSOAPMessage message;
    message.SetBuffer(request);
    WMSOAPAutomationProxy proxy;
    EXPECT_EQ(proxy.GetHTTPTimeout(), 600000UL);
    proxy.SetHTTPTimeout(5000);
    ASSERT_TRUE(proxy.InvokeSOAPMethod(u"\"urn:calls#swap\"", u"127.0.0.1", server.Port(),
                                       u"/my svc", u"Agent/1.0", message));

    std::string const expected =
        "POST /my+svc HTTP/1.0\r\nHost: 127.0.0.1:" + std::to_string(server.Port()) +
        "\r\nUser-Agent: Agent/1.0\r\nContent-Type: text/xml; charset=\"utf-8\"\r\n"
        "Content-Length: 9\r\nSOAPAction: \"urn:calls#swap\"\r\n\r\n<x>\xe9?</x>";
    EXPECT_EQ(server.Request(1).substr(0, expected.size()), expected);

    EXPECT_EQ(proxy.GetHTTPStatus(), 200);
    EXPECT_EQ(proxy.GetXMLIn(), Widen(kEnvelope));
    EXPECT_EQ(proxy.GetXMLInLength(), kEnvelope.size());
    EXPECT_EQ(*proxy.GetXMLOut(), request);
    EXPECT_EQ(proxy.GetXMLOutLength(), request.size());
    EXPECT_EQ(*message.GetBufferPtr(), Widen(kEnvelope));

    // Copies keep the last exchange and the settings.
    WMSOAPAutomationProxy copy(proxy);
    WMSOAPAutomationProxy assigned;
    assigned = proxy;
    for (WMSOAPAutomationProxy* p : {&copy, &assigned}) {
        EXPECT_EQ(std::to_string(p->GetHTTPStatus()) + " " + std::to_string(p->GetHTTPTimeout()),
                  "200 5000");
        EXPECT_EQ(p->GetXMLIn() + u"|" + *p->GetXMLOut(), Widen(kEnvelope) + u"|" + request);
    }
}

TEST(AutomationProxy, CompletesOnlyOkAndServerErrorWithXmlAndRefusesTheRestWithTheirText) {
    std::vector<TableRow> const rows = ReadTable("expected/client/proxy_answers.txt");
    LoopbackServer server;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::size_t const bar = rows[i].input.find(" | ");
        server.SetAnswer(
            static_cast<int>(i + 1),
            HttpAnswer(rows[i].input.substr(0, bar), rows[i].input.substr(bar + 3), kEnvelope));
    }
    WMSOAPAutomationProxy proxy;
    for (TableRow const& row : rows) {
        SCOPED_TRACE(row.where);
        WMSOAPMessage message;
        message.SetBuffer(u"<request/>");
        bool const completed = row.expected == "completed";
        EXPECT_EQ(ProxyExchange(proxy, server.Port(), message),
                  completed ? WMString() : u"Response Message: " + Widen(row.expected));
        EXPECT_EQ(proxy.GetHTTPStatus(), std::stoi(row.input.substr(9, 3)));
        EXPECT_EQ(proxy.GetXMLIn(), completed ? Widen(kEnvelope) : u"");
        EXPECT_EQ(*message.GetBufferPtr(), completed ? Widen(kEnvelope) : u"<request/>");
    }
}

TEST(AutomationProxy, RedirectIsNeverFollowed) {
    LoopbackServer target;
    target.SetAnswer(HttpAnswer("HTTP/1.0 200 OK", "text/xml", kEnvelope));
    LoopbackServer server;
    server.SetAnswer("HTTP/1.0 302 Found\r\nLocation: http://127.0.0.1:" +
                     std::to_string(target.Port()) + "/svc\r\nContent-Type: text/xml\r\n\r\n");

    WMSOAPAutomationProxy proxy;
    WMSOAPMessage message;
    EXPECT_FALSE(proxy.InvokeMethod(u"", u"127.0.0.1", server.Port(), u"/svc", u"t", message));
    EXPECT_EQ(proxy.GetHTTPStatus(), 302);
    EXPECT_TRUE(server.HasRequest(1));
    EXPECT_FALSE(target.HasRequest(1));
}

TEST(AutomationProxy, NoConnectionIsARequestFault) {
    WMSOAPAutomationProxy proxy;
    WMSOAPMessage message;
    message.SetBuffer(u"<request/>");
    EXPECT_EQ(ProxyExchange(proxy, UnusedPort(), message),
              u"Request Message: Could not connect to server.");
    // The request text stays with the message, and the proxy keeps it too.
    EXPECT_EQ(*message.GetBufferPtr(), u"<request/>");
    EXPECT_EQ(*proxy.GetXMLOut(), u"<request/>");
    EXPECT_FALSE(proxy.InvokeMethod(u"", u"127.0.0.1", UnusedPort(), u"/", u"t", message));
}

TEST(AutomationProxy, SlowServerFailsAndAnswerCutShortKeepsWhatArrived) {
    LoopbackServer slow;
    slow.SetAnswer(HttpAnswer("HTTP/1.0 200 OK", "text/xml", kEnvelope));
    slow.SetDelayMs(5000);
    WMSOAPAutomationProxy proxy;
    proxy.SetHTTPTimeout(200);
    WMSOAPMessage message;
    EXPECT_FALSE(proxy.InvokeMethod(u"", u"127.0.0.1", slow.Port(), u"/", u"t", message));

    std::string body(2000, 'x');
    std::string const answer = HttpAnswer("HTTP/1.0 200 OK", "text/xml", body);
    LoopbackServer server;
    server.SetAnswer(answer);
    server.SetCloseAfter(answer.size() - 1500);
    proxy.SetHTTPTimeout(5000);
    // HTTP/1.0 without chunking: the body ends where the connection does.
    EXPECT_TRUE(proxy.InvokeMethod(u"", u"127.0.0.1", server.Port(), u"/", u"t", message));
    EXPECT_EQ(proxy.GetXMLIn(), Widen(body.substr(0, 500)));
}

}  // namespace
}  // namespace corvane::test
