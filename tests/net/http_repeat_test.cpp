// Request objects made one after another, and alive together, on one thread (as a client makes
// one per call), and hosts written as addresses in forms other than four plain decimal parts.
#include <corvane/http.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/loopback.h"

namespace {

using corvane::test::LoopbackServer;
using corvane::test::ServerScript;

ServerScript Reply(std::string body) {
    ServerScript script;
    script.untilZeroByte = true;
    script.reply.push_back("HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\n\r\n" + body);
    return script;
}

WMString Fetch(WMHTTPRequestSock& http, int port, WMString const& host = u"127.0.0.1") {
    if (!http.SendHTTPRequest(port, u"GET", host, u"/", u"", u"", u"")) {
        return u"<failed>";
    }
    return http.GetContent() == nullptr ? WMString(u"<null>") : WMString(http.GetContent());
}

TEST(HttpRepeat, EachObjectReadsOnlyItsOwnAnswer) {
    LoopbackServer longer(Reply(std::string(70000, 'L')));
    LoopbackServer shorter(Reply("short"));
    // A short answer after a long one sees nothing of the long one's bytes.
    for (int round = 0; round < 2; ++round) {
        WMHTTPRequestSock first(80, 3000);
        EXPECT_EQ(Fetch(first, longer.Port()), WMString(70000, u'L'));
        WMHTTPRequestSock second(80, 3000);
        EXPECT_EQ(Fetch(second, shorter.Port()), u"short");
    }
    // Objects alive at once, ended in either order, each with its own buffer.
    auto outer = std::make_unique<WMHTTPRequestSock>(80, 3000);
    {
        WMHTTPRequestSock inner(80, 3000);
        EXPECT_EQ(Fetch(*outer, shorter.Port()), u"short");
        EXPECT_EQ(Fetch(inner, longer.Port()), WMString(70000, u'L'));
        EXPECT_EQ(Fetch(*outer, shorter.Port()), u"short");
    }
    WMHTTPRequestSock copy(*outer);
    outer.reset();
    EXPECT_EQ(Fetch(copy, shorter.Port()), u"short");
}

TEST(HttpRepeat, AddressesInOtherFormsGoToTheResolver) {
    LoopbackServer server(Reply("here"));
    for (WMString const host : {u"127.0.0.1", u"127.1", u"127.000.0.1", u"127.0.1"}) {
        WMHTTPRequestSock http(80, 3000);
        EXPECT_EQ(Fetch(http, server.Port(), host), u"here")
            << std::string(host.begin(), host.end());
    }
}

}  // namespace
