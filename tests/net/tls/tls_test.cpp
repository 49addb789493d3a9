// TLS over loopback against a Python peer on 127.0.0.1:443, with OpenSSL loaded from the
// links placed beside this executable.
#include <corvane/dynssl.h>
#include <corvane/http.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

#include "tls_peer.h"

namespace {

using corvane::test::TlsPeer;

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
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 1);
    EXPECT_NE(DynSSL::m_hLibeay32Instance, nullptr);
    EXPECT_NE(DynSSL::m_hSsleay32Instance, nullptr);
    const std::pair<const char*, void*> pointers[] = {
        {"SSL_get_error", reinterpret_cast<void*>(DynSSL::m_SSL_get_error)},
        {"SSL_read", reinterpret_cast<void*>(DynSSL::m_SSL_read)},
        {"SSL_library_init", reinterpret_cast<void*>(DynSSL::m_SSL_library_init)},
        {"SSL_load_error_strings", reinterpret_cast<void*>(DynSSL::m_SSL_load_error_strings)},
        {"SSL_CTX_load_verify_locations",
         reinterpret_cast<void*>(DynSSL::m_SSL_CTX_load_verify_locations)},
        {"SSL_CTX_new", reinterpret_cast<void*>(DynSSL::m_SSL_CTX_new)},
        {"SSLv23_method", reinterpret_cast<void*>(DynSSL::m_SSLv23_method)},
        {"SSL_connect", reinterpret_cast<void*>(DynSSL::m_SSL_connect)},
        {"SSL_CTX_set_cipher_list", reinterpret_cast<void*>(DynSSL::m_SSL_CTX_set_cipher_list)},
        {"SSL_set_bio", reinterpret_cast<void*>(DynSSL::m_SSL_set_bio)},
        {"SSL_new", reinterpret_cast<void*>(DynSSL::m_SSL_new)},
        {"SSL_write", reinterpret_cast<void*>(DynSSL::m_SSL_write)},
        {"ERR_get_error", reinterpret_cast<void*>(DynSSL::m_ERR_get_error)},
        {"ERR_error_string_n", reinterpret_cast<void*>(DynSSL::m_ERR_error_string_n)},
        {"BIO_new_socket", reinterpret_cast<void*>(DynSSL::m_BIO_new_socket)},
        {"SSL_free", reinterpret_cast<void*>(DynSSL::m_SSL_free)},
        {"SSL_CTX_use_certificate_file",
         reinterpret_cast<void*>(DynSSL::m_SSL_CTX_use_certificate_file)},
        {"SSL_CTX_set_default_passwd_cb",
         reinterpret_cast<void*>(DynSSL::m_SSL_CTX_set_default_passwd_cb)},
        {"SSL_CTX_use_PrivateKey_file",
         reinterpret_cast<void*>(DynSSL::m_SSL_CTX_use_PrivateKey_file)},
        {"SSL_accept", reinterpret_cast<void*>(DynSSL::m_SSL_accept)},
        {"SSL_set_accept_state", reinterpret_cast<void*>(DynSSL::m_SSL_set_accept_state)},
        {"SSL_ctrl", reinterpret_cast<void*>(DynSSL::m_SSL_ctrl)},
        {"BIO_free", reinterpret_cast<void*>(DynSSL::m_BIO_free)},
        {"EVP_PKEY_free", reinterpret_cast<void*>(DynSSL::m_EVP_PKEY_free)},
        {"BIO_read", reinterpret_cast<void*>(DynSSL::m_BIO_read)},
        {"PEM_ASN1_write_bio", reinterpret_cast<void*>(DynSSL::m_PEM_ASN1_write_bio)},
        {"EVP_PKEY_new", reinterpret_cast<void*>(DynSSL::m_EVP_PKEY_new)},
        {"RSA_generate_key", reinterpret_cast<void*>(DynSSL::m_RSA_generate_key)},
        {"EVP_PKEY_assign", reinterpret_cast<void*>(DynSSL::m_EVP_PKEY_assign)},
        {"X509_set_version", reinterpret_cast<void*>(DynSSL::m_X509_set_version)},
        {"ASN1_INTEGER_set", reinterpret_cast<void*>(DynSSL::m_ASN1_INTEGER_set)},
        {"X509_get_serialNumber", reinterpret_cast<void*>(DynSSL::m_X509_get_serialNumber)},
        {"X509_gmtime_adj", reinterpret_cast<void*>(DynSSL::m_X509_gmtime_adj)},
        {"X509_set_pubkey", reinterpret_cast<void*>(DynSSL::m_X509_set_pubkey)},
        {"X509_get_subject_name", reinterpret_cast<void*>(DynSSL::m_X509_get_subject_name)},
        {"X509_NAME_add_entry_by_txt",
         reinterpret_cast<void*>(DynSSL::m_X509_NAME_add_entry_by_txt)},
        {"X509_NAME_add_entry_by_NID",
         reinterpret_cast<void*>(DynSSL::m_X509_NAME_add_entry_by_NID)},
        {"X509_get_issuer_name", reinterpret_cast<void*>(DynSSL::m_X509_get_issuer_name)},
        {"X509_sign", reinterpret_cast<void*>(DynSSL::m_X509_sign)},
        {"X509_print_fp", reinterpret_cast<void*>(DynSSL::m_X509_print_fp)},
        {"PEM_ASN1_write", reinterpret_cast<void*>(DynSSL::m_PEM_ASN1_write)},
        {"BIO_new", reinterpret_cast<void*>(DynSSL::m_BIO_new)},
        {"i2d_PrivateKey", reinterpret_cast<void*>(DynSSL::m_i2d_PrivateKey)},
        {"X509_new", reinterpret_cast<void*>(DynSSL::m_X509_new)},
        {"X509_free", reinterpret_cast<void*>(DynSSL::m_X509_free)},
        {"BIO_s_mem", reinterpret_cast<void*>(DynSSL::m_BIO_s_mem)},
        {"PEM_write_X509", reinterpret_cast<void*>(DynSSL::m_PEM_write_X509)},
        {"EVP_sha1", reinterpret_cast<void*>(DynSSL::m_EVP_sha1)},
    };
    for (const auto& pointer : pointers) {
        EXPECT_NE(pointer.second, nullptr) << pointer.first;
    }
    EXPECT_EQ(reinterpret_cast<void*>(DynSSL::GetPrivateKey()),
              reinterpret_cast<void*>(DynSSL::m_i2d_PrivateKey));
}

std::string Filler() {
    std::string filler;
    char line[16];
    for (int i = 0; i < 200000; ++i) {
        std::snprintf(line, sizeof(line), "%07d\n", i);
        filler += line;
    }
    return filler;
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
    // The peer answers with the request's own bytes, its zero byte included, then 1.6 MB.
    const char request[] = "POST /svc HTTP/1.0\r\nContent-Type: text/xml\r\n\r\n<x>caf\xE9</x>";
    WMChar const* content = http.GetContent();
    ASSERT_NE(content, nullptr);
    const WMString echoed(content);
    WMString expected;
    for (std::size_t i = 0; i + 1 < sizeof(request); ++i) {
        expected += static_cast<WMChar>(static_cast<unsigned char>(request[i]));
    }
    EXPECT_EQ(echoed, expected);
    const std::string filler = Filler();
    EXPECT_TRUE(WMString(content + echoed.size() + 1) == WMString(filler.begin(), filler.end()));
}

TEST(TlsTransport, CloseWithoutNotificationStillEndsTheResponse) {
    TlsPeer peer("abrupt");
    CORVANE_REQUIRE_PEER(peer);
    HttpProbe http;
    ASSERT_TRUE(http.SendHTTPRequest(443, u"GET", u"127.0.0.1", u"/", u"", u"", u""))
        << http.LastError();
    EXPECT_EQ(http.GetStatus(), 200);
    WMChar const* content = http.GetContent();
    ASSERT_NE(content, nullptr);
    EXPECT_EQ(WMString(content), u"GET / HTTP/1.0\r\n\r\n");
    const std::string filler = Filler();
    EXPECT_TRUE(WMString(content + 19) == WMString(filler.begin(), filler.end()));
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
