// The HTTP client against scripted loopback peers: the exact request bytes, the reading of
// replies however they are framed and split, and the failures of the connection.
#include <corvane/http.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "support/loopback.h"
#include "support/support.h"

namespace {

using corvane::test::LoopbackServer;
using corvane::test::Narrow;
using corvane::test::ReadTable;
using corvane::test::ServerScript;
using corvane::test::TableRow;
using corvane::test::Unescape;
using corvane::test::Widen;

constexpr unsigned long kTimeoutMs = 3000;

// Reaches the socket's last error, which the interface keeps for derived classes.
class HttpProbe : public WMHTTPRequestSock {
public:
    explicit HttpProbe(int defaultPort = 80, unsigned long timeout = kTimeoutMs)
        : WMHTTPRequestSock(defaultPort, timeout) {}
    int LastError() const { return m_nLastError; }
    void FailStartUp() { m_bInitialized = false; }
};

ServerScript Reply(std::string text) {
    ServerScript script;
    script.untilZeroByte = true;
    script.reply.push_back(std::move(text));
    return script;
}

WMString Content(HttpProbe& http) {
    WMChar const* content = http.GetContent();
    return content == nullptr ? WMString(u"<null>") : WMString(content);
}

bool Get(HttpProbe& http, LoopbackServer& server) {
    return http.SendHTTPRequest(server.Port(), u"GET", u"127.0.0.1", u"/", u"", u"", u"");
}

TEST(HttpRequest, SendsRequestLineHeadersBodyAndATrailingZeroByte) {
    LoopbackServer server(Reply("HTTP/1.0 200 OK\r\n\r\n"));
    HttpProbe http;
    ASSERT_TRUE(http.SendHTTPRequest(server.Port(), u"POST", u"127.0.0.1", u"/a b", u"",
                                     u"Host: h\r\n", u"x"));
    const char expected[] = "POST /a+b HTTP/1.0\r\nHost: h\r\n\r\nx\0";
    EXPECT_EQ(server.Received(), std::string(expected, sizeof(expected) - 1));
}

TEST(HttpRequest, EscapesPathAndQueryAndNarrowsTheBody) {
    // "%A" and a zero character for a line feed; only the first two digits of a code above
    // 255; code units above 0xFF in the body become "?".
    const char raw[] = "GET /p+q%3Ar/%E9/%4E%25?k=1&v=%A\0(ok)~ HTTP/1.0\r\n\r\ncaf\xE9 ?\0";
    const std::string expected(raw, sizeof(raw) - 1);
    ServerScript script = Reply("HTTP/1.0 200 OK\r\n\r\n");
    script.requestBytes = expected.size();
    LoopbackServer server(script);
    HttpProbe http;
    ASSERT_TRUE(http.SendHTTPRequest(server.Port(), u"GET", u"127.0.0.1", u"/p q:r/\u00e9/\u4e2d%",
                                     u"k=1&v=\n(ok)~", u"", u"caf\u00e9 \u4e2d"));
    EXPECT_EQ(server.Received(), expected);
}

// What the client read, as in tests/data/expected/net/replies.txt.
std::string Outcome(HttpProbe& http, bool ok, std::string const& headers) {
    std::ostringstream out;
    out << (ok ? "ok|" : "failed|") << http.GetStatus() << '|' << Narrow(http.GetReasonPhrase());
    if (ok) {
        out << '|' << std::hex << http.GetHTTPVersion() << std::dec << '|'
            << http.GetContentLength() << '|' << Narrow(http.GetContentType()) << '|';
        std::istringstream names(headers);
        for (std::string name; names >> name;) {
            out << '[' << Narrow(http.GetHeader(Widen(name).c_str())) << ']';
        }
        out << '|' << Narrow(Content(http));
    }
    return out.str();
}

TEST(HttpResponse, StatusLineHeadersAndBodyOfTheTable) {
    // One client for every row: each request replaces the previous response.
    HttpProbe http;
    for (TableRow const& row : ReadTable("expected/net/replies.txt")) {
        std::size_t const ask = row.input.find(" ? ");
        std::string const reply = Narrow(Unescape(row.input.substr(0, ask)));
        // Whole, and split into single bytes.
        for (std::size_t piece : {reply.size(), std::size_t{1}}) {
            ServerScript script = Reply("");
            script.reply.clear();
            for (std::size_t at = 0; at < reply.size(); at += piece) {
                script.reply.push_back(reply.substr(at, piece));
            }
            script.pauseMs = 1;
            LoopbackServer server(script);
            bool const ok = Get(http, server);
            std::string const headers = ask == std::string::npos ? "" : row.input.substr(ask + 3);
            EXPECT_EQ(Outcome(http, ok, headers), Narrow(Unescape(row.expected)))
                << row.where << " in pieces of " << piece;
        }
    }
    // Port 0 takes the default port.
    LoopbackServer server(Reply("HTTP/1.0 200 OK\r\n\r\n"));
    HttpProbe byDefault(server.Port());
    EXPECT_TRUE(byDefault.SendHTTPRequest(0, u"GET", u"127.0.0.1", u"/", u"", u"", u""));
}

TEST(HttpFailure, NoConnection) {
    HttpProbe http;
    EXPECT_FALSE(http.SendHTTPRequest(corvane::test::UnusedPort(), u"GET", u"127.0.0.1", u"/", u"",
                                      u"", u""));
    EXPECT_EQ(http.LastError(), 10061);
    EXPECT_EQ(http.GetContent(), nullptr);
    // A name the resolver refuses without asking a name server, so the test never waits.
    EXPECT_FALSE(http.SendHTTPRequest(80, u"GET", u"no-such-host..invalid", u"/", u"", u"", u""));
    EXPECT_EQ(http.LastError(), 10049);
    http.FailStartUp();
    EXPECT_FALSE(http.SendHTTPRequest(1, u"GET", u"127.0.0.1", u"/", u"", u"", u""));
}

TEST(HttpFailure, SilentServerTimesOutAfterOneWait) {
    ServerScript script = Reply("");
    script.silent = true;
    LoopbackServer server(script);
    HttpProbe http(80, 300);
    EXPECT_FALSE(Get(http, server));
    EXPECT_EQ(http.LastError(), 258);
    const char expected[] = "GET / HTTP/1.0\r\n\r\n\0";
    EXPECT_EQ(server.Received(), std::string(expected, sizeof(expected) - 1));
}

TEST(HttpFailure, ServerResettingDuringALargeBodyFailsWithoutSignal) {
    ServerScript script = Reply("");
    script.resetAfter = 64 * 1024;
    LoopbackServer server(script);
    HttpProbe http;
    const WMString body(16u << 20, u'b');
    EXPECT_FALSE(http.SendHTTPRequest(server.Port(), u"POST", u"127.0.0.1", u"/", u"", u"", body));
    EXPECT_NE(http.LastError(), 0);
}

TEST(HttpTransfer, LargeBodiesBothWaysArriveWholeAndInOrder) {
    // The request reaches a slow reader; the answer's body ends where the server closes.
    std::string body;
    std::string answer;
    for (int i = 0; answer.size() < (3u << 20); ++i) {
        answer += static_cast<char>('a' + i % 26);
        if (body.size() < (1u << 20)) {
            body += static_cast<char>('0' + i % 10) + (i % 1000 == 0 ? std::to_string(i) : "");
        }
    }
    const std::string expected = "PUT /big HTTP/1.0\r\n\r\n" + body + std::string(1, '\0');
    ServerScript script = Reply("HTTP/1.0 201 Created\r\n\r\n" + answer);
    script.requestBytes = expected.size();
    script.readChunk = 32 * 1024;
    script.readPauseMs = 1;
    LoopbackServer server(script);
    HttpProbe http;
    ASSERT_TRUE(http.SendHTTPRequest(server.Port(), u"PUT", u"127.0.0.1", u"/big", u"", u"",
                                     WMString(body.begin(), body.end())));
    EXPECT_EQ(http.GetStatus(), 201);
    EXPECT_TRUE(Content(http) == Widen(answer));
    EXPECT_TRUE(server.Received() == expected);
}

}  // namespace
