// TLS over loopback against a Python peer on 127.0.0.1:443, with OpenSSL loaded from the
// links placed beside this executable.
#include <corvane/dynssl.h>
#include <corvane/http.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "support/support.h"

extern char** environ;

namespace {

// tls_server.py in one of its modes. It is waited for on destruction, so that the next peer
// can bind port 443.
class TlsPeer {
public:
    explicit TlsPeer(std::string mode) {
        std::string python = CORVANE_PYTHON, script = CORVANE_TLS_SERVER_SCRIPT,
                    openssl = CORVANE_OPENSSL, work = dir_.Path();
        const std::string out = dir_.File("status");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        char* argv[] = {python.data(),  script.data(), work.data(),
                        openssl.data(), mode.data(),   nullptr};
        if (posix_spawn(&pid_, python.c_str(), &actions, nullptr, argv, environ) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        // Key generation and start-up take well under 15 s; a peer that exits has said why.
        for (int i = 0; pid_ > 0 && i < 1500 && status_.find('\n') == std::string::npos; ++i) {
            if (::waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
            }
            ::usleep(10000);
            status_ = corvane::test::ReadFile(out);
        }
        status_ =
            status_.empty() ? "the TLS peer did not start" : status_.substr(0, status_.find('\n'));
    }
    ~TlsPeer() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    // "ready" once it listens on 127.0.0.1:443, or the reason it cannot.
    const std::string& Status() const { return status_; }

private:
    corvane::test::TempDir dir_;
    pid_t pid_ = -1;
    std::string status_;
};

class HttpProbe : public WMHTTPRequestSock {
public:
    explicit HttpProbe(unsigned long timeout = 5000) : WMHTTPRequestSock(80, timeout) {}
    int LastError() const { return m_nLastError; }
};

#define CORVANE_REQUIRE_PEER(peer)                \
    if ((peer).Status().rfind("skip:", 0) == 0) { \
        GTEST_SKIP() << (peer).Status();          \
    }                                             \
    ASSERT_EQ((peer).Status(), "ready")

TEST(TlsLoader, ResolvesEveryEntryPointFromBesideTheExecutable) {
    EXPECT_EQ(DynSSL::SSL_library_init(), 1);
    EXPECT_NE(DynSSL::m_hLibeay32Instance, nullptr);
    EXPECT_NE(DynSSL::m_hSsleay32Instance, nullptr);
    // Set only when every entry point of both libraries was found.
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 1);
    EXPECT_EQ(reinterpret_cast<void*>(DynSSL::GetPrivateKey()),
              reinterpret_cast<void*>(DynSSL::m_i2d_PrivateKey));
}

// The peer answers with the request's own bytes, its zero byte included, then 1.6 MB.
void ExpectEchoAndFiller(HttpProbe& http, const std::string& request) {
    WMChar const* content = http.GetContent();
    ASSERT_NE(content, nullptr);
    EXPECT_EQ(WMString(content), corvane::test::Widen(request));
    std::string filler;
    char line[16];
    for (int i = 0; i < 200000; ++i) {
        std::snprintf(line, sizeof(line), "%07d\n", i);
        filler += line;
    }
    EXPECT_TRUE(WMString(content + request.size() + 1) == corvane::test::Widen(filler));
}

TEST(TlsTransport, PostOverTlsReturnsTheServersReply) {
    TlsPeer peer("echo");
    CORVANE_REQUIRE_PEER(peer);
    HttpProbe http;
    ASSERT_TRUE(http.SendHTTPRequest(443, u"POST", u"127.0.0.1", u"/svc", u"",
                                     u"Content-Type: text/xml\r\n", u"<x>caf\u00e9</x>"))
        << http.LastError();
    EXPECT_EQ(http.GetStatus(), 200);
    EXPECT_EQ(http.GetContentType(), u"text/xml");
    ExpectEchoAndFiller(http, "POST /svc HTTP/1.0\r\nContent-Type: text/xml\r\n\r\n<x>caf\xE9</x>");
}

TEST(TlsTransport, CloseWithoutNotificationStillEndsTheResponse) {
    TlsPeer peer("abrupt");
    CORVANE_REQUIRE_PEER(peer);
    HttpProbe http;
    ASSERT_TRUE(http.SendHTTPRequest(443, u"GET", u"127.0.0.1", u"/", u"", u"", u""))
        << http.LastError();
    EXPECT_EQ(http.GetStatus(), 200);
    ExpectEchoAndFiller(http, "GET / HTTP/1.0\r\n\r\n");
}

TEST(TlsTransport, HandshakeWithASilentPeerTimesOut) {
    TlsPeer peer("silent");
    CORVANE_REQUIRE_PEER(peer);
    HttpProbe http(300);
    EXPECT_FALSE(http.SendHTTPRequest(443, u"GET", u"127.0.0.1", u"/", u"", u"", u""));
    EXPECT_EQ(http.LastError(), 258);
}

TEST(TlsTransport, LargeBodyIsQueuedAndEchoedWhole) {
    TlsPeer peer("echo");
    CORVANE_REQUIRE_PEER(peer);
    WMString body;
    for (int i = 0; body.size() < (3u << 20); ++i) {
        body += static_cast<WMChar>(u'a' + i % 26);
    }
    HttpProbe http;
    ASSERT_TRUE(http.SendHTTPRequest(443, u"PUT", u"127.0.0.1", u"/", u"", u"", body))
        << http.LastError();
    WMChar const* content = http.GetContent();
    ASSERT_NE(content, nullptr);
    EXPECT_TRUE(WMString(content) == u"PUT / HTTP/1.0\r\n\r\n" + body);
}

TEST(TlsTransport, PeerResettingDuringALargeBodyFailsWithoutSignal) {
    TlsPeer peer("reset");
    CORVANE_REQUIRE_PEER(peer);
    HttpProbe http;
    const WMString body(8u << 20, u'z');
    EXPECT_FALSE(http.SendHTTPRequest(443, u"POST", u"127.0.0.1", u"/", u"", u"", body));
}

}  // namespace
