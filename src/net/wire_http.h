// The HTTP/1.1 client of the standard wire mode: persistent connections, chunked and gzip
// answers, redirects, Basic authentication, a proxy, verified TLS, one deadline per call.
#ifndef CORVANE_NET_WIRE_HTTP_H
#define CORVANE_NET_WIRE_HTTP_H

#include <corvane/wire.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct ssl_ctx_st;

namespace corvane::detail {

struct WireUrl {
    bool tls = false;
    std::string host;
    int port = 0;
    std::string target = "/";  // path and query
    std::string userinfo;      // "user:password" before the host, without its "@"
};

// Reads "http://" or "https://" URLs (scheme ASCII case ignored) with an optional port; false
// with the reason in `error`.
bool ParseWireUrl(std::string_view text, WireUrl& url, std::string& error);

struct WireAnswer {
    int status = 0;
    std::string reason;
    std::string headers;  // the header lines, each ending in "\r\n"
    std::string body;     // decoded: chunks joined, gzip undone

    // The first header named `name` (ASCII case ignored), without surrounding white space;
    // empty when there is none.
    std::string_view Header(std::string_view name) const;
    void Clear();
};

struct WireConnection;

class WireHttpClient {
public:
    // `waitMilliseconds` bounds each single wait on the network (0xFFFFFFFF: no bound).
    WireHttpClient(WMWireOptions const& options, unsigned long waitMilliseconds);
    ~WireHttpClient();
    WireHttpClient(WireHttpClient const&) = delete;
    WireHttpClient& operator=(WireHttpClient const&) = delete;

    // Sends one request to `url` and reads its answer into `answer`, following redirects when
    // the options ask. `headers` holds the caller's header lines, each ending in "\r\n"; the
    // client writes Host, Content-Length, Accept-Encoding and the authorization itself. An
    // answer of any status counts as success; false only when no answer could be had, with a
    // message for the caller in Error().
    bool Exchange(std::string_view method, std::string_view url, std::string_view headers,
                  std::string_view body, WireAnswer& answer);
    std::string const& Error() const { return error_; }

private:
    using Clock = std::chrono::steady_clock;

    bool ExchangeOnce(std::string_view method, WireUrl const& url, bool sendAuth,
                      std::string_view headers, std::string_view body, WireAnswer& answer);
    void BuildRequest(std::string_view method, WireUrl const& url, bool sendAuth,
                      std::string_view headers, std::string_view body);
    std::unique_ptr<WireConnection> TakeIdle(WireUrl const& url);
    void Keep(std::unique_ptr<WireConnection> connection);
    std::unique_ptr<WireConnection> Open(WireUrl const& url);
    bool Tunnel(WireConnection& connection, WireUrl const& url);
    bool Handshake(WireConnection& connection, WireUrl const& url);
    bool MakeTlsContext();
    bool SendAll(WireConnection& connection, std::string_view data);
    long Receive(WireConnection& connection, char* buffer, std::size_t size);
    bool Fill(WireConnection& connection);
    bool Await(WireConnection& connection, bool forWrite);
    bool ReadHead(WireConnection& connection, WireAnswer& answer, bool& keepAlive);
    bool ReadAnswer(WireConnection& connection, std::string_view method, WireAnswer& answer,
                    bool& keepAlive);
    bool ReadChunked(WireConnection& connection, std::string& body);
    bool ReadLength(WireConnection& connection, std::size_t length, std::string& body);
    bool ReadToClose(WireConnection& connection, std::string& body);
    bool TooLarge(std::size_t size);
    bool Fail(std::string message);

    // The options, as UTF-8.
    bool verify_;
    std::string caFile_;
    std::string certificateFile_;
    std::string keyFile_;
    std::string basicAuth_;  // "Basic " and the base64 of user:password, or empty
    bool useProxy_ = false;
    WireUrl proxy_;
    std::string proxyAuth_;
    bool follow_;
    int maxRedirects_;
    std::chrono::milliseconds idleTime_;
    unsigned long deadlineMs_;
    std::size_t maxAnswer_;
    bool gzip_;
    unsigned long waitMs_;

    Clock::time_point deadline_;
    bool timedOut_ = false;  // the last failure was a time-out, not a broken connection
    std::string error_;
    WireUrl url_;  // the URL of the current request
    // The last URL asked for, parsed: a client calls the same endpoint again and again.
    std::string parsedText_;
    WireUrl parsed_;
    std::string request_;  // the request text, reused from call to call
    std::string gunzipped_;
    std::vector<std::unique_ptr<WireConnection>> idle_;
    ssl_ctx_st* context_ = nullptr;
};

}  // namespace corvane::detail

#endif
