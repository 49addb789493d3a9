// The request text kept for GetXMLOut: held as the bytes sent while an answer is read and
// widened when asked for, it must read exactly as the text that was sent, in both wire modes.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/peer_calls.h"

namespace corvane::test {
namespace {

std::string const kAnswer = "<SOAP-ENV:Envelope/>";

bool Call(WMSOAPAutomationProxy& proxy, int port, WMString const& request) {
    WMSOAPMessage message;
    message.SetBuffer(request);
    bool const done = ProxyExchange(proxy, port, message).empty();
    EXPECT_TRUE(done || *message.GetBufferPtr() == request);  // the message gets its text back
    return done;
}

// The captured envelopes, as sent, and each with text the code page cannot carry or that
// decoding could take for something else.
std::vector<WMString> Requests() {
    std::vector<WMString> requests;
    for (auto const& entry : std::filesystem::directory_iterator(DataPath("peers/php"))) {
        requests.push_back(Widen(ReadFile(entry.path().string())));
    }
    EXPECT_GT(requests.size(), 10u);
    WMString const envelope = requests.front();
    requests.push_back(envelope + u"<x>Gr\u00fc\u00dfe \u00ff</x>");    // Latin-1 only
    requests.push_back(envelope + u"<x>\u4e2d \U0001F600 \u20ac</x>");  // beyond it
    requests.push_back(u"\uFEFF" + envelope);                           // a mark's unit
    requests.push_back(WMString(u"<x>a\0b</x>", 10) + envelope);        // a zero unit
    requests.push_back(WMString(u"<x>\xD800</x>") + envelope);  // not sendable in standard mode
    return requests;
}

TEST(SentRequest, ReadsAsTheTextSentInBothModesAlsoThroughCopies) {
    LoopbackServer server;
    server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", "text/xml; charset=utf-8", kAnswer));
    for (bool const standard : {false, true}) {
        for (WMString const& request : Requests()) {
            SCOPED_TRACE(Narrow(request.substr(0, 60)) + (standard ? " (standard)" : ""));
            WMSOAPAutomationProxy proxy = ProxyIn(standard);
            bool const sendable = !standard || request.find(u'\xD800') == WMString::npos;
            EXPECT_EQ(Call(proxy, server.Port(), request), sendable);
            // A copy made before the text is first asked for; the length asked first.
            WMSOAPAutomationProxy assigned = ProxyIn(!standard);
            assigned = proxy;
            EXPECT_EQ(proxy.GetXMLOutLength(), request.size());
            EXPECT_EQ(*proxy.GetXMLOut(), request);
            EXPECT_EQ(*assigned.GetXMLOut(), request);
        }
    }
}

TEST(SentRequest, NextCallAndFailedCallsShowTheirOwnRequest) {
    for (bool const standard : {false, true}) {
        LoopbackServer server;
        server.SetAnswer(3, HttpAnswer("HTTP/1.1 404 Not Found", "text/xml", kAnswer));
        server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", "text/xml", kAnswer));
        WMSOAPAutomationProxy proxy = ProxyIn(standard);
        // The first request is never asked for: the second must not widen into it.
        ASSERT_TRUE(Call(proxy, server.Port(), u"<first>\u00e9</first>"));
        ASSERT_TRUE(Call(proxy, server.Port(), u"<second/>"));
        EXPECT_EQ(*proxy.GetXMLOut(), u"<second/>");
        EXPECT_FALSE(Call(proxy, server.Port(), u"<refused>\u00e9</refused>"));
        EXPECT_EQ(*proxy.GetXMLOut(), u"<refused>\u00e9</refused>");
        server.Stop();
        EXPECT_FALSE(Call(proxy, server.Port(), u"<unsent/>"));
        EXPECT_EQ(proxy.GetXMLOutLength(), 9u);
    }
}

}  // namespace
}  // namespace corvane::test
