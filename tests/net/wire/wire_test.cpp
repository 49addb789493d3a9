// The standard wire mode's HTTP/1.1 client against real peers on loopback (wire_peer.py, one
// process for the whole program).
#include <corvane/dynssl.h>
#include <corvane/wire.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "net/gzip.h"
#include "net/wire/wire_peers.h"
#include "net/wire_http.h"
#include "support/support.h"

namespace {

using corvane::detail::WireAnswer;
using corvane::detail::WireHttpClient;
using corvane::detail::WireUrl;

class Wire : public corvane::test::PeersTest {
protected:
    // One call with a fresh client; the answer's body, or "error: " and the message.
    std::string Call(const std::string& url, const std::string& body = "",
                     unsigned long waitMs = 20000) {
        WireHttpClient client(options, waitMs);
        return Call(client, url, body);
    }
    std::string Call(WireHttpClient& client, const std::string& url, const std::string& body = "") {
        if (!client.Exchange(body.empty() ? "GET" : "POST", url, "", body, answer)) {
            return "error: " + client.Error();
        }
        return answer.body;
    }

    WireAnswer answer;
};

TEST(WireUrl, ReadsSchemeHostPortAndTarget) {
    for (const corvane::test::TableRow& row :
         corvane::test::ReadTable("expected/net/wire_urls.txt")) {
        WireUrl url;
        std::string error;
        const bool ok = corvane::detail::ParseWireUrl(row.input, url, error);
        EXPECT_EQ(ok ? (url.tls ? "https " : "http ") + url.host + " " + std::to_string(url.port) +
                           " " + url.target
                     : "refused",
                  row.expected)
            << row.where;
        EXPECT_EQ(ok, error.empty()) << row.where;
    }
}

TEST(WireGzip, RefusesDataThatIsNotGzipAndTruncatedData) {
    std::string out;
    std::string error;
    EXPECT_FALSE(corvane::detail::Gunzip("plain text", out, 1000, error));
    EXPECT_NE(error.find("gzip"), std::string::npos);
    // The first ten bytes of a gzip member: a header and nothing else.
    const std::string header("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);
    error.clear();
    EXPECT_FALSE(corvane::detail::Gunzip(header, out, 1000, error));
    EXPECT_NE(error.find("truncated"), std::string::npos) << error;
}

TEST_F(Wire, RequestIsHttp11WithByteLengthAndNoTrailingZero) {
    WireHttpClient client(options, 20000);
    const std::string body =
        "Gr\xC3\xBC\xC3\x9F"
        "e";
    ASSERT_TRUE(
        client.Exchange("POST", peers->Url("http", "/echo"), "SOAPAction: \"a\"\r\n", body, answer))
        << client.Error();
    const std::string port = peers->Url("http", "").substr(17);
    EXPECT_EQ(answer.body, "POST /echo HTTP/1.1\r\nHost: 127.0.0.1:" + port +
                               "\r\nAccept-Encoding: gzip\r\nSOAPAction: \"a\"\r\n"
                               "Content-Length: 7\r\n\r\n" +
                               body);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.reason, "OK");
    EXPECT_EQ(answer.Header("content-type"), "text/xml; charset=utf-8");
    // A zero byte after the body would have been read as the start of the next request.
    const std::string next = Call(client, peers->Url("http", "/conn"));
    EXPECT_EQ(next.substr(0, 5), "conn=") << next;
}

TEST_F(Wire, KeepsOneConnectionPerEndpointAndHonoursClose) {
    WireHttpClient client(options, 20000);
    const std::string first = Call(client, peers->Url("http", "/conn"));
    ASSERT_EQ(first.substr(0, 5), "conn=") << first;
    EXPECT_EQ(Call(client, peers->Url("http", "/conn")), first);
    EXPECT_EQ(Call(client, peers->Url("http", "/gzip")).substr(0, 4), "<gz>");
    EXPECT_EQ(Call(client, peers->Url("http", "/conn")), first);
    // "Connection: close" with a close-delimited body: the next call needs a new connection.
    EXPECT_EQ(Call(client, peers->Url("http", "/close")),
              "until close " + first.substr(5, first.find(' ') - 5));
    EXPECT_NE(Call(client, peers->Url("http", "/conn")), first);
    // TLS connections are kept the same way.
    WireHttpClient tls(options, 20000);
    const std::string tlsFirst = Call(tls, peers->Url("tls", "/conn", "localhost"));
    ASSERT_EQ(tlsFirst.substr(0, 5), "conn=") << tlsFirst;
    EXPECT_EQ(Call(tls, peers->Url("tls", "/conn", "localhost")), tlsFirst);
    EXPECT_EQ(Call(tls, peers->Url("tls", "/chunked", "localhost")).size(), 70015U);
    EXPECT_EQ(Call(tls, peers->Url("tls", "/conn", "localhost")), tlsFirst);
    // Idle longer than allowed: closed, not reused.
    options.idleMilliseconds = 0;
    WireHttpClient impatient(options, 20000);
    const std::string once = Call(impatient, peers->Url("http", "/conn"));
    ::usleep(5000);
    EXPECT_NE(Call(impatient, peers->Url("http", "/conn")), once);
}

TEST_F(Wire, DecodesChunkedGzipAndHttp10Answers) {
    const std::string chunked = Call(peers->Url("http", "/chunked"));
    EXPECT_EQ(chunked, "<a>chunked " + std::string(70000, 'x') + "</a>");
    std::string plain = "<gz>";
    for (int i = 0; i < 1000; ++i) {
        plain += "compressible ";
    }
    plain += "</gz>";
    EXPECT_EQ(Call(peers->Url("http", "/gzip")), plain);
    options.gzip = false;
    EXPECT_EQ(Call(peers->Url("http", "/gzip")), plain);  // asked for nothing, got plain
    EXPECT_EQ(Call(peers->Url("http", "/http10")), "old!");
}

TEST_F(Wire, StaleKeptConnectionIsRetriedOnceOnANewOne) {
    WireHttpClient client(options, 20000);
    const std::string stale = Call(client, peers->Url("http", "/stale"));
    ASSERT_EQ(stale.substr(0, 6), "stale ") << stale;
    ::usleep(50000);  // the server has closed the kept connection by now
    const std::string next = Call(client, peers->Url("http", "/conn"));
    ASSERT_EQ(next.substr(0, 5), "conn=") << next;
    EXPECT_NE(next.substr(5, next.find(' ') - 5), stale.substr(6));
}

TEST_F(Wire, RedirectsOnlyWhenAskedAtMostFiveNeverToHttp) {
    EXPECT_EQ(Call(peers->Url("http", "/redirect?2"), "body"), "");
    EXPECT_EQ(answer.status, 307);
    EXPECT_EQ(answer.Header("Location"), "/redirect?1");
    options.followRedirects = true;
    EXPECT_EQ(Call(peers->Url("http", "/redirect?5"), "body"), "arrived POST body");
    EXPECT_EQ(Call(peers->Url("http", "/redirect?6"), "body"),
              "error: Too many redirects: more than 5.");
    options.maxRedirects = 50;  // counts as 5
    EXPECT_EQ(Call(peers->Url("http", "/redirect?6"), "body"),
              "error: Too many redirects: more than 5.");
    options.maxRedirects = 1;
    EXPECT_EQ(Call(peers->Url("http", "/redirect?2"), "body"),
              "error: Too many redirects: more than 1.");
    const std::string down = Call(peers->Url("tls", "/to-http", "localhost"));
    EXPECT_EQ(down.rfind("error: Redirect from https to http refused: http://127.0.0.1:", 0), 0U)
        << down;
}

TEST_F(Wire, SendsBasicAuthentication) {
    EXPECT_EQ(Call(peers->Url("http", "/auth")), "who?");
    EXPECT_EQ(answer.status, 401);
    options.user = u"user";
    options.password = u"p\u00e4ssword";  // sent as UTF-8
    EXPECT_EQ(Call(peers->Url("http", "/auth")), "welcome");
    EXPECT_EQ(Call(peers->Url("tls", "/auth", "localhost")), "welcome");
}

TEST_F(Wire, GoesThroughAProxyWithAbsoluteUrlsAndConnect) {
    const std::string proxy = peers->Url("proxy", "");
    options.proxy = WMString(proxy.begin(), proxy.end());
    EXPECT_EQ(Call(peers->Url("http", "/auth?via")), "who?");
    const std::string viaTls = Call(peers->Url("tls", "/conn", "localhost"));
    EXPECT_NE(viaTls.find("sni=localhost"), std::string::npos) << viaTls;
    options.proxy.clear();
    const std::string log = Call(peers->Url("proxy", "/log"));
    EXPECT_NE(log.find("GET " + peers->Url("http", "/auth?via") + " HTTP/1.1"), std::string::npos)
        << log;
    EXPECT_NE(log.find("CONNECT localhost:" + peers->Url("tls", "").substr(18) + " HTTP/1.1"),
              std::string::npos)
        << log;
    options.proxy = u"https://127.0.0.1:1";
    EXPECT_EQ(Call(peers->Url("http", "/conn")).rfind("error: Invalid proxy URL", 0), 0U);
}

TEST_F(Wire, FailuresSayWhyAndTheDeadlineEndsADrippingAnswer) {
    EXPECT_EQ(Call("http://127.0.0.1:1/"),
              "error: Could not connect to 127.0.0.1:1: connection refused.");
    EXPECT_EQ(Call("http://no-such-host.invalid/"),
              "error: Could not resolve host no-such-host.invalid.");
    options.deadlineMilliseconds = 1000;
    const auto start = std::chrono::steady_clock::now();
    // Each byte comes well within the per-wait time-out: only the deadline can end the call.
    EXPECT_EQ(Call(peers->Url("http", "/drip"), "", 20000),
              "error: The call exceeded its deadline of 1000 ms.");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST_F(Wire, AnswerAboveTheLimitFailsWhateverItsFraming) {
    options.maxAnswerBytes = 1000;
    for (const char* kind : {"length", "chunked", "gzip", "close"}) {
        EXPECT_EQ(Call(peers->Url("http", std::string("/big?") + kind + "-1000")),
                  std::string(1000, 'y'))
            << kind;
        EXPECT_EQ(Call(peers->Url("http", std::string("/big?") + kind + "-1001")),
                  "error: The answer is larger than the limit of 1000 bytes.")
            << kind;
    }
}

TEST_F(Wire, VerifiesTheServerCertificate) {
    EXPECT_EQ(Call(peers->Url("tls", "/conn", "127.0.0.1")).substr(0, 5), "conn=");
    for (const corvane::test::TableRow& row :
         corvane::test::ReadTable("expected/net/bad_certificates.txt")) {
        const std::string got = Call(peers->Url(row.input, "/conn", "localhost"));
        EXPECT_NE(got.find(row.expected), std::string::npos) << row.input << ": " << got;
        if (got.rfind("error: TLS: the certificate", 0) == 0) {
            EXPECT_NE(got.find(peers->Url(row.input, "", "localhost").substr(8) + " was refused"),
                      std::string::npos)
                << got;
        }
    }
    EXPECT_NE(Call(peers->Url("tls", "/conn", "localhost")).find("sni=localhost"),
              std::string::npos);
    // The system's store does not know the test CA.
    options.caFile.clear();
    EXPECT_NE(Call(peers->Url("tls", "/conn", "localhost")).find("issuer is unknown"),
              std::string::npos);
    options.caFile = peers->File("missing.pem");
    EXPECT_EQ(Call(peers->Url("tls", "/conn", "localhost"))
                  .rfind("error: TLS: cannot read the CA certificates of ", 0),
              0U);
    // Only the explicit setting turns the check off.
    options.verifyServerCertificate = false;
    EXPECT_EQ(Call(peers->Url("self", "/conn", "localhost")).substr(0, 5), "conn=");
    EXPECT_EQ(Call(peers->Url("wronghost", "/conn", "localhost")).substr(0, 5), "conn=");
}

TEST_F(Wire, SendsTheClientCertificateWhenAsked) {
    options.clientCertificateFile = peers->File("client.pem");
    options.clientKeyFile = peers->File("client.key");
    const std::string got = Call(peers->Url("clientauth", "/conn", "localhost"));
    EXPECT_NE(got.find("client=client.example"), std::string::npos) << got;
    options.clientKeyFile = peers->File("good.key");  // not the certificate's key
    EXPECT_EQ(Call(peers->Url("clientauth", "/conn", "localhost"))
                  .rfind("error: TLS: cannot use the client certificate", 0),
              0U);
}

}  // namespace
