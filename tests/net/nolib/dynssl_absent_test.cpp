// OpenSSL is installed on the system but not beside this executable: the loader must not
// use it, and every forwarder answers 1. A directory set afterwards is loaded from.
#include <corvane/dynssl.h>
#include <corvane/http.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "support/support.h"

namespace {

class HttpProbe : public WMHTTPRequestSock {
public:
    HttpProbe() : WMHTTPRequestSock(80, 2000) {}
    int LastError() const { return m_nLastError; }
};

TEST(TlsLoaderWithoutLibraries, ForwardersAnswerOneAndTlsConnectionsFail) {
    EXPECT_EQ(DynSSL::SSL_library_init(), 1);
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 0);
    EXPECT_EQ(DynSSL::m_hLibeay32Instance, nullptr);
    EXPECT_EQ(DynSSL::m_SSL_library_init, nullptr);
    EXPECT_EQ(DynSSL::SSL_CTX_new(nullptr), reinterpret_cast<ssl_ctx_st*>(std::uintptr_t{1}));
    EXPECT_EQ(DynSSL::ERR_get_error(), 1u);
    EXPECT_EQ(DynSSL::SSL_ctrl(nullptr, 0, 0, nullptr), 1);

    // No handshake can happen: the connection fails at TLS set-up, with the 1 that the
    // missing ERR_get_error answers as its code.
    HttpProbe http;
    EXPECT_FALSE(http.SendHTTPRequest(443, u"GET", u"127.0.0.1", u"/", u"", u"", u""));
    EXPECT_EQ(http.LastError(), 1);
}

#ifdef CORVANE_TLS_LIBRARY_DIR
TEST(TlsLoaderWithoutLibraries, LoadsFromTheDirectoryGivenLater) {
    EXPECT_EQ(DynSSL::SSL_library_init(), 1);
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 0);
    // The loader retries while nothing has been loaded, from the directory now given.
    DynSSL::SetLibraryDirectory(CORVANE_TLS_LIBRARY_DIR);
    EXPECT_EQ(DynSSL::SSL_library_init(), 1);
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 1);
    EXPECT_NE(DynSSL::m_SSL_library_init, nullptr);
}

// Failed attempts are not repeated while their directory stays as it was, yet libraries that
// arrive there afterwards are found.
TEST(TlsLoaderWithoutLibraries, LoadsLibrariesPlacedInTheDirectoryAfterAFailure) {
    namespace fs = std::filesystem;
    corvane::test::TempDir empty;
    WMString const wideDir(empty.Path().begin(), empty.Path().end());
    DynSSL::SetLibraryDirectory(wideDir);
    EXPECT_EQ(DynSSL::SSL_library_init(), 1);
    DynSSL::SSL_load_error_strings();
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 0);

    std::u16string const source = CORVANE_TLS_LIBRARY_DIR;
    fs::path const from(std::string(source.begin(), source.end()));
    for (char const* name : {"libcrypto.so.3", "libssl.so.3"}) {
        fs::create_symlink(fs::canonical(from / name), fs::path(empty.File(name)));
    }
    EXPECT_EQ(DynSSL::SSL_library_init(), 1);
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 1);
}
#endif

}  // namespace
