#include "net/wire_http.h"

#include <corvane/dynssl.h>
#include <corvane/utf8.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "net/gzip.h"
#include "net/tls.h"
#include "platform/socket.h"

namespace corvane::detail {

// One kept TCP (or TLS) connection to a scheme, host and port.
struct WireConnection {
    platform::SocketHandle socket = platform::kInvalidSocket;
    ssl_st* ssl = nullptr;
    bool tls = false;
    std::string host;
    int port = 0;
    bool reused = false;
    bool gotBytes = false;  // something of the current answer has arrived
    std::chrono::steady_clock::time_point lastUsed;
    // Received bytes not yet taken are buffer[start, end). The buffer only grows, so that a
    // read never pays for clearing the space it is about to fill.
    std::string buffer;
    std::size_t start = 0;
    std::size_t end = 0;

    WireConnection() = default;
    WireConnection(WireConnection const&) = delete;
    WireConnection& operator=(WireConnection const&) = delete;
    ~WireConnection() {
        if (ssl != nullptr) {
            DynSSL::SSL_free(ssl);  // frees the socket wrapper with it
        }
        platform::CloseSocket(socket);
    }

    std::string_view Unread() const { return std::string_view(buffer.data() + start, end - start); }
};

namespace {

constexpr int kSslErrorWantRead = 2;
constexpr int kSslErrorWantWrite = 3;
constexpr int kSslErrorZeroReturn = 6;
constexpr int kSslCtrlSetTlsextHostname = 55;
constexpr int kSslCtrlMode = 33;
constexpr long kSslModeAcceptMovingWriteBuffer = 2;
constexpr int kSslCtrlSetMinProtoVersion = 123;
constexpr long kTls12Version = 0x0303;
constexpr int kSslVerifyPeer = 1;
constexpr int kSslFiletypePem = 1;

constexpr std::size_t kReadChunk = 16384;
constexpr std::size_t kMaxHead = 65536;
constexpr int kRedirectCeiling = 5;

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i];
        char y = b[i];
        x = (x >= 'A' && x <= 'Z') ? static_cast<char>(x + 32) : x;
        y = (y >= 'A' && y <= 'Z') ? static_cast<char>(y + 32) : y;
        if (x != y) {
            return false;
        }
    }
    return true;
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

// Whether the comma-separated list `value` holds `token` (ASCII case ignored).
bool HasToken(std::string_view value, std::string_view token) {
    while (!value.empty()) {
        const std::size_t comma = value.find(',');
        if (EqualsIgnoringCase(Trim(value.substr(0, comma)), token)) {
            return true;
        }
        if (comma == std::string_view::npos) {
            break;
        }
        value.remove_prefix(comma + 1);
    }
    return false;
}

bool ParseDecimal(std::string_view text, std::size_t& value) {
    if (text.empty() || text.size() > 18) {
        return false;
    }
    value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + static_cast<std::size_t>(c - '0');
    }
    return true;
}

std::string Base64(std::string_view bytes) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const unsigned v = static_cast<unsigned char>(bytes[i]) << 16 |
                           static_cast<unsigned char>(bytes[i + 1]) << 8 |
                           static_cast<unsigned char>(bytes[i + 2]);
        out += kDigits[v >> 18];
        out += kDigits[(v >> 12) & 63];
        out += kDigits[(v >> 6) & 63];
        out += kDigits[v & 63];
    }
    if (i < bytes.size()) {
        const bool two = i + 1 < bytes.size();
        const unsigned v = static_cast<unsigned char>(bytes[i]) << 16 |
                           (two ? static_cast<unsigned char>(bytes[i + 1]) << 8 : 0U);
        out += kDigits[v >> 18];
        out += kDigits[(v >> 12) & 63];
        out += two ? kDigits[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

std::string Utf8(WMString const& text) {
    std::string out;
    WideStringToUTF8(text, out);
    return out;
}

bool IsIpv4Literal(std::string_view host, unsigned char (&address)[4]) {
    int part = 0;
    std::size_t digits = 0;
    unsigned value = 0;
    for (char c : host) {
        if (c == '.') {
            if (digits == 0 || part == 3) {
                return false;
            }
            address[part++] = static_cast<unsigned char>(value);
            digits = 0;
            value = 0;
        } else if (c >= '0' && c <= '9' && digits < 3) {
            value = value * 10 + static_cast<unsigned>(c - '0');
            ++digits;
            if (value > 255) {
                return false;
            }
        } else {
            return false;
        }
    }
    if (digits == 0 || part != 3) {
        return false;
    }
    address[3] = static_cast<unsigned char>(value);
    return true;
}

std::string SocketErrorText(int code) {
    switch (code) {
        case 10061:
            return "connection refused";
        case 10060:
        case platform::kErrTimeout:
            return "timed out";
        case 10054:
            return "connection reset by the server";
        case 10051:
        case 10065:
            return "host unreachable";
        default:
            return "socket error " + std::to_string(code);
    }
}

// The queued OpenSSL errors as text, oldest first; empties the queue.
std::string OpenSslErrors() {
    std::string text;
    for (int i = 0; i < 16; ++i) {
        const unsigned long code = DynSSL::ERR_get_error();
        if (code == 0) {
            break;
        }
        char line[256] = {};
        DynSSL::ERR_error_string_n(code, line, sizeof(line));
        text += text.empty() ? "" : "; ";
        text += line;
    }
    return text;
}

// Why a certificate was refused, in the words a caller can act on.
std::string VerifyReason(long code, std::string const& host) {
    switch (code) {
        case 9:
            return "the certificate is not yet valid";
        case 10:
            return "the certificate has expired";
        case 18:
            return "the certificate is self-signed";
        case 19:
            return "the chain ends in an untrusted self-signed certificate";
        case 2:
        case 20:
        case 21:
            return "the certificate's issuer is unknown";
        case 62:
        case 64:
            return "the certificate is not for host " + host;
        default:
            return "the certificate could not be verified";
    }
}

std::string Endpoint(std::string const& host, int port) {
    return host + ":" + std::to_string(port);
}

}  // namespace

bool ParseWireUrl(std::string_view text, WireUrl& url, std::string& error) {
    const std::size_t colon = text.find("://");
    const std::string_view scheme = colon == std::string_view::npos ? "" : text.substr(0, colon);
    if (EqualsIgnoringCase(scheme, "http")) {
        url.tls = false;
    } else if (EqualsIgnoringCase(scheme, "https")) {
        url.tls = true;
    } else {
        error = "Not an http:// or https:// URL: " + std::string(text);
        return false;
    }
    std::string_view rest = text.substr(colon + 3);
    const std::size_t slash = rest.find_first_of("/?#");
    std::string_view authority = rest.substr(0, slash);
    std::string_view target = slash == std::string_view::npos ? "" : rest.substr(slash);
    target = target.substr(0, target.find('#'));
    const std::size_t at = authority.rfind('@');
    url.userinfo.assign(at == std::string_view::npos ? "" : authority.substr(0, at));
    if (at != std::string_view::npos) {
        authority.remove_prefix(at + 1);
    }
    const std::size_t portColon = authority.rfind(':');
    url.port = url.tls ? 443 : 80;
    if (portColon != std::string_view::npos) {
        std::size_t port = 0;
        if (!ParseDecimal(authority.substr(portColon + 1), port) || port == 0 || port > 65535) {
            error = "Invalid port in URL: " + std::string(text);
            return false;
        }
        url.port = static_cast<int>(port);
        authority = authority.substr(0, portColon);
    }
    if (authority.empty() || authority.find_first_of(" \t\r\n[]") != std::string_view::npos) {
        error = "Invalid host in URL: " + std::string(text);
        return false;
    }
    if (target.find_first_of(" \r\n") != std::string_view::npos) {
        error = "Invalid path in URL: " + std::string(text);
        return false;
    }
    url.host.assign(authority);
    url.target = target.empty() || target.front() != '/' ? "/" : "";
    url.target.append(target);
    return true;
}

std::string_view WireAnswer::Header(std::string_view name) const {
    std::string_view rest = headers;
    while (!rest.empty()) {
        const std::size_t end = rest.find("\r\n");
        const std::string_view line = rest.substr(0, end);
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos &&
            EqualsIgnoringCase(Trim(line.substr(0, colon)), name)) {
            return Trim(line.substr(colon + 1));
        }
        if (end == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(end + 2);
    }
    return {};
}

void WireAnswer::Clear() {
    status = 0;
    reason.clear();
    headers.clear();
    body.clear();
}

WireHttpClient::WireHttpClient(WMWireOptions const& options, unsigned long waitMilliseconds)
    : verify_(options.verifyServerCertificate),
      caFile_(Utf8(options.caFile)),
      certificateFile_(Utf8(options.clientCertificateFile)),
      keyFile_(Utf8(options.clientKeyFile)),
      follow_(options.followRedirects),
      maxRedirects_(std::clamp(options.maxRedirects, 0, kRedirectCeiling)),
      idleTime_(options.idleMilliseconds),
      deadlineMs_(options.deadlineMilliseconds),
      maxAnswer_(options.maxAnswerBytes),
      gzip_(options.gzip),
      waitMs_(waitMilliseconds) {
    if (!options.user.empty()) {
        basicAuth_ = "Basic " + Base64(Utf8(options.user) + ":" + Utf8(options.password));
    }
    if (!options.proxy.empty()) {
        // A proxy URL that does not read leaves the client without one; every call then fails
        // with the reason, rather than going out directly behind the caller's back.
        useProxy_ = true;
        std::string reason;
        if (!ParseWireUrl(Utf8(options.proxy), proxy_, reason) || proxy_.tls) {
            proxy_.host.clear();
        }
        if (!proxy_.userinfo.empty()) {
            proxyAuth_ = "Basic " + Base64(proxy_.userinfo);
        }
    }
}

WireHttpClient::~WireHttpClient() {
    idle_.clear();
    FreeTlsContext(context_);
}

bool WireHttpClient::Fail(std::string message) {
    if (error_.empty()) {
        error_ = std::move(message);
    }
    return false;
}

bool WireHttpClient::TooLarge(std::size_t size) {
    if (size <= maxAnswer_) {
        return false;
    }
    Fail("The answer is larger than the limit of " + std::to_string(maxAnswer_) + " bytes.");
    return true;
}

bool WireHttpClient::Exchange(std::string_view method, std::string_view url,
                              std::string_view headers, std::string_view body, WireAnswer& answer) {
    error_.clear();
    answer.Clear();
    deadline_ = deadlineMs_ == 0 ? Clock::time_point::max()
                                 : Clock::now() + std::chrono::milliseconds(deadlineMs_);
    if (useProxy_ && proxy_.host.empty()) {
        return Fail("Invalid proxy URL: the proxy must be given as http://host:port.");
    }
    // Kept in the object, so that a call reuses the buffers of the one before.
    WireUrl& current = url_;
    if (parsedText_.empty() || url != parsedText_) {
        parsedText_.clear();
        if (!ParseWireUrl(url, parsed_, error_)) {
            return false;
        }
        parsedText_.assign(url);
    }
    current = parsed_;
    WireUrl first;  // the URL asked for, once a redirect has moved away from it
    std::string location;
    for (int redirects = 0;; ++redirects) {
        // Credentials go only to the host they were given for.
        const bool sendAuth =
            redirects == 0 ||
            (current.host == first.host && current.port == first.port && current.tls == first.tls);
        if (!ExchangeOnce(method, current, sendAuth, headers, body, answer)) {
            return false;
        }
        const int status = answer.status;
        const bool redirect =
            status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
        if (!follow_ || !redirect || answer.Header("Location").empty()) {
            return true;
        }
        if (redirects == maxRedirects_) {
            return Fail("Too many redirects: more than " + std::to_string(maxRedirects_) + ".");
        }
        location.assign(answer.Header("Location"));
        if (location.find_first_of(" \t\r\n") != std::string::npos) {
            return Fail("Invalid redirect location: " + location);
        }
        WireUrl next;
        const std::size_t scheme = location.find("://");
        if (scheme != std::string::npos && location.find_first_of("/?#") > scheme) {
            if (!ParseWireUrl(location, next, error_)) {
                return false;
            }
        } else {
            next = current;
            if (location.compare(0, 2, "//") == 0) {
                if (!ParseWireUrl((current.tls ? "https:" : "http:") + location, next, error_)) {
                    return false;
                }
            } else if (!location.empty() && location.front() == '/') {
                next.target = location;
            } else {
                const std::string base = current.target.substr(0, current.target.find('?'));
                next.target = base.substr(0, base.rfind('/') + 1) + location;
            }
        }
        if (current.tls && !next.tls) {
            return Fail("Redirect from https to http refused: " + location);
        }
        // After 303 the answer is to be fetched; the other codes repeat the request as it was
        // (a SOAP request changed into a GET would mean nothing to the server).
        if (status == 303) {
            method = "GET";
            body = {};
        }
        if (redirects == 0) {
            first = current;
        }
        current = std::move(next);
    }
}

std::unique_ptr<WireConnection> WireHttpClient::TakeIdle(WireUrl const& url) {
    for (auto it = idle_.begin(); it != idle_.end(); ++it) {
        WireConnection& kept = **it;
        if (kept.tls == url.tls && kept.port == url.port && kept.host == url.host) {
            std::unique_ptr<WireConnection> found = std::move(*it);
            idle_.erase(it);
            if (Clock::now() - found->lastUsed > idleTime_) {
                return nullptr;  // closed: unused for too long
            }
            return found;
        }
    }
    return nullptr;
}

void WireHttpClient::Keep(std::unique_ptr<WireConnection> connection) {
    // Bytes beyond the answer mean the server does not speak as agreed: do not reuse.
    if (!connection->Unread().empty()) {
        return;
    }
    connection->start = 0;
    connection->end = 0;
    connection->reused = true;
    connection->lastUsed = Clock::now();
    for (auto& kept : idle_) {
        if (kept->tls == connection->tls && kept->port == connection->port &&
            kept->host == connection->host) {
            kept = std::move(connection);  // one idle connection per endpoint
            return;
        }
    }
    idle_.push_back(std::move(connection));
}

bool WireHttpClient::ExchangeOnce(std::string_view method, WireUrl const& url, bool sendAuth,
                                  std::string_view headers, std::string_view body,
                                  WireAnswer& answer) {
    BuildRequest(method, url, sendAuth, headers, body);
    std::unique_ptr<WireConnection> connection = TakeIdle(url);
    for (;;) {
        if (!connection) {
            connection = Open(url);
            if (!connection) {
                return false;
            }
        }
        connection->gotBytes = false;
        timedOut_ = false;
        bool keepAlive = false;
        if (SendAll(*connection, request_) && ReadAnswer(*connection, method, answer, keepAlive)) {
            if (keepAlive) {
                Keep(std::move(connection));
            }
            return true;
        }
        // A kept connection that the server closed meanwhile: once more on a new one, but only
        // when nothing of an answer came, so a request is never answered twice.
        if (!connection->reused || connection->gotBytes || timedOut_) {
            return false;
        }
        error_.clear();
        answer.Clear();
        connection.reset();
    }
}

void WireHttpClient::BuildRequest(std::string_view method, WireUrl const& url, bool sendAuth,
                                  std::string_view headers, std::string_view body) {
    std::string& out = request_;
    out.clear();
    out.append(method).append(" ");
    const bool absolute = useProxy_ && !url.tls;
    if (absolute) {
        out.append("http://").append(url.host).append(":").append(std::to_string(url.port));
    }
    out.append(url.target).append(" HTTP/1.1\r\nHost: ").append(url.host);
    if (url.port != (url.tls ? 443 : 80)) {
        out.append(":").append(std::to_string(url.port));
    }
    out.append("\r\n");
    if (sendAuth && !basicAuth_.empty()) {
        out.append("Authorization: ").append(basicAuth_).append("\r\n");
    }
    if (absolute && !proxyAuth_.empty()) {
        out.append("Proxy-Authorization: ").append(proxyAuth_).append("\r\n");
    }
    if (gzip_) {
        out.append("Accept-Encoding: gzip\r\n");
    }
    out.append(headers);
    if (!body.empty() || (method != "GET" && method != "HEAD")) {
        out.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n");
    }
    out.append("\r\n").append(body);
}

std::unique_ptr<WireConnection> WireHttpClient::Open(WireUrl const& url) {
    WireUrl const& peer = useProxy_ ? proxy_ : url;
    unsigned char address[4];
    if (!IsIpv4Literal(peer.host, address)) {
        bool found = false;
        platform::ResolveHost(peer.host, [&](hostent const* host) {
            const platform::HostRecord record = platform::ReadHostent(host);
            if (!record.addresses.empty() && record.addresses.front().size() == 4) {
                std::memcpy(address, record.addresses.front().data(), 4);
                found = true;
            }
        });
        if (!found) {
            Fail("Could not resolve host " + peer.host + ".");
            return nullptr;
        }
    }
    auto connection = std::make_unique<WireConnection>();
    connection->tls = url.tls;
    connection->host = url.host;
    connection->port = url.port;
    connection->socket = platform::OpenStreamSocket();
    if (connection->socket == platform::kInvalidSocket) {
        Fail("Could not open a socket: " + SocketErrorText(platform::LastSocketError()) + ".");
        return nullptr;
    }
    platform::SetNoDelay(connection->socket);
    platform::Ipv4Address socketAddress(address, peer.port);
    if (platform::ConnectSocket(connection->socket, socketAddress.Get()) != 0) {
        const int error = platform::LastSocketError();
        if (error != platform::kErrWouldBlock) {
            Fail("Could not connect to " + Endpoint(peer.host, peer.port) + ": " +
                 SocketErrorText(error) + ".");
            return nullptr;
        }
        if (!Await(*connection, true)) {
            error_ = "Could not connect to " + Endpoint(peer.host, peer.port) + ": " + error_;
            return nullptr;
        }
        const int pending = platform::PendingSocketError(connection->socket);
        if (pending != 0) {
            Fail("Could not connect to " + Endpoint(peer.host, peer.port) + ": " +
                 SocketErrorText(pending) + ".");
            return nullptr;
        }
    }
    if (useProxy_ && url.tls && !Tunnel(*connection, url)) {
        return nullptr;
    }
    if (url.tls && !Handshake(*connection, url)) {
        return nullptr;
    }
    return connection;
}

bool WireHttpClient::Tunnel(WireConnection& connection, WireUrl const& url) {
    const std::string endpoint = Endpoint(url.host, url.port);
    std::string request = "CONNECT " + endpoint + " HTTP/1.1\r\nHost: " + endpoint + "\r\n";
    if (!proxyAuth_.empty()) {
        request += "Proxy-Authorization: " + proxyAuth_ + "\r\n";
    }
    request += "\r\n";
    WireAnswer answer;
    bool keepAlive = false;
    if (!SendAll(connection, request) || !ReadHead(connection, answer, keepAlive)) {
        error_ = "Proxy tunnel to " + endpoint + " failed: " + error_;
        return false;
    }
    if (answer.status < 200 || answer.status > 299) {
        return Fail("The proxy refused the tunnel to " + endpoint + ": " +
                    std::to_string(answer.status) + " " + answer.reason + ".");
    }
    // The server speaks first in nothing: what follows the proxy's answer is the TLS handshake.
    connection.start = 0;
    connection.end = 0;
    return true;
}

bool WireHttpClient::MakeTlsContext() {
    if (context_ != nullptr) {
        return true;
    }
    TlsVerifyApi const* api = LoadTlsVerifyApi();
    if (api == nullptr) {
        return Fail("TLS is not available: OpenSSL 1.1 or newer could not be loaded.");
    }
    api->ERR_clear_error();
    ssl_ctx_st* context = DynSSL::SSL_CTX_new(api->TLS_client_method());
    if (context == nullptr) {
        return Fail("TLS: cannot make a context: " + OpenSslErrors());
    }
    bool ok = api->SSL_CTX_ctrl(context, kSslCtrlSetMinProtoVersion, kTls12Version, nullptr) == 1;
    if (ok && verify_) {
        ok = caFile_.empty()
                 ? api->SSL_CTX_set_default_verify_paths(context) == 1
                 : DynSSL::SSL_CTX_load_verify_locations(context, caFile_.c_str(), nullptr) == 1;
        if (!ok) {
            Fail("TLS: cannot read the CA certificates" +
                 (caFile_.empty() ? std::string() : " of " + caFile_) + ": " + OpenSslErrors());
        }
    }
    api->SSL_CTX_set_verify(context, verify_ ? kSslVerifyPeer : 0, nullptr);
    if (ok && (!certificateFile_.empty() || !keyFile_.empty())) {
        ok = api->SSL_CTX_use_certificate_chain_file(context, certificateFile_.c_str()) == 1 &&
             DynSSL::SSL_CTX_use_PrivateKey_file(context, keyFile_.c_str(), kSslFiletypePem) == 1 &&
             api->SSL_CTX_check_private_key(context) == 1;
        if (!ok) {
            Fail("TLS: cannot use the client certificate " + certificateFile_ + " with the key " +
                 keyFile_ + ": " + OpenSslErrors());
        }
    }
    if (!ok) {
        Fail("TLS: cannot set up the context: " + OpenSslErrors());
        FreeTlsContext(context);
        return false;
    }
    context_ = context;
    return true;
}

bool WireHttpClient::Handshake(WireConnection& connection, WireUrl const& url) {
    if (!MakeTlsContext()) {
        return false;
    }
    TlsVerifyApi const* api = LoadTlsVerifyApi();
    connection.ssl = DynSSL::SSL_new(context_);
    if (connection.ssl == nullptr) {
        return Fail("TLS: cannot make a connection: " + OpenSslErrors());
    }
    // A retried write may come from another address of the same text.
    DynSSL::SSL_ctrl(connection.ssl, kSslCtrlMode, kSslModeAcceptMovingWriteBuffer, nullptr);
    bio_st* bio = DynSSL::BIO_new_socket(static_cast<int>(connection.socket), 0);
    DynSSL::SSL_set_bio(connection.ssl, bio, bio);
    unsigned char ignored[4];
    const bool ipLiteral = IsIpv4Literal(url.host, ignored);
    if (!ipLiteral) {
        DynSSL::SSL_ctrl(connection.ssl, kSslCtrlSetTlsextHostname, 0,
                         const_cast<char*>(url.host.c_str()));
    }
    if (verify_) {
        const int set = ipLiteral ? api->X509_VERIFY_PARAM_set1_ip_asc(
                                        api->SSL_get0_param(connection.ssl), url.host.c_str())
                                  : api->SSL_set1_host(connection.ssl, url.host.c_str());
        if (set != 1) {
            return Fail("TLS: cannot check the host name " + url.host + ".");
        }
    }
    const std::string endpoint = Endpoint(url.host, url.port);
    for (;;) {
        api->ERR_clear_error();
        const int result = DynSSL::SSL_connect(connection.ssl);
        if (result == 1) {
            return true;
        }
        const int error = DynSSL::SSL_get_error(connection.ssl, result);
        if (error == kSslErrorWantRead || error == kSslErrorWantWrite) {
            if (!Await(connection, error == kSslErrorWantWrite)) {
                error_ = "TLS handshake with " + endpoint + " failed: " + error_;
                return false;
            }
            continue;
        }
        const long verdict = api->SSL_get_verify_result(connection.ssl);
        if (verify_ && verdict != 0) {
            return Fail("TLS: the certificate of " + endpoint +
                        " was refused: " + VerifyReason(verdict, url.host) + " (" +
                        api->X509_verify_cert_error_string(verdict) + ").");
        }
        const std::string detail = OpenSslErrors();
        return Fail("TLS handshake with " + endpoint +
                    " failed: " + (detail.empty() ? "the connection was closed" : detail) + ".");
    }
}

bool WireHttpClient::Await(WireConnection& connection, bool forWrite) {
    const auto now = Clock::now();
    if (now >= deadline_) {
        timedOut_ = true;
        return Fail("The call exceeded its deadline of " + std::to_string(deadlineMs_) + " ms.");
    }
    unsigned long wait = waitMs_;
    bool deadlineFirst = false;
    if (deadline_ != Clock::time_point::max()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - now).count() + 1;
        if (waitMs_ == 0xFFFFFFFFUL || static_cast<unsigned long long>(left) < waitMs_) {
            wait = static_cast<unsigned long>(left);
            deadlineFirst = true;
        }
    }
    const platform::Readiness ready =
        platform::WaitSocket(connection.socket, forWrite, !forWrite, false, wait);
    if (ready.timedOut) {
        timedOut_ = true;
        if (deadlineFirst) {
            return Fail("The call exceeded its deadline of " + std::to_string(deadlineMs_) +
                        " ms.");
        }
        return Fail("No answer from " + Endpoint(connection.host, connection.port) + " within " +
                    std::to_string(waitMs_) + " ms.");
    }
    if (ready.failed) {
        return Fail("Waiting on the connection failed: " +
                    SocketErrorText(platform::LastSocketError()) + ".");
    }
    return true;
}

bool WireHttpClient::SendAll(WireConnection& connection, std::string_view data) {
    while (!data.empty()) {
        long sent;
        if (connection.ssl != nullptr) {
            const int chunk = data.size() > INT_MAX ? INT_MAX : static_cast<int>(data.size());
            sent = DynSSL::SSL_write(connection.ssl, data.data(), chunk);
            if (sent <= 0) {
                const int error = DynSSL::SSL_get_error(connection.ssl, static_cast<int>(sent));
                if (error == kSslErrorWantRead || error == kSslErrorWantWrite) {
                    if (!Await(connection, error == kSslErrorWantWrite)) {
                        return false;
                    }
                    continue;
                }
                std::string detail = OpenSslErrors();
                if (detail.empty()) {
                    // A server that refuses us after the handshake (TLS 1.3 checks the client's
                    // certificate then) says why in an alert that only a read takes in.
                    char alert[256];
                    DynSSL::SSL_read(connection.ssl, alert, sizeof(alert));
                    detail = OpenSslErrors();
                }
                return Fail("Sending to " + Endpoint(connection.host, connection.port) +
                            " failed: " + (detail.empty() ? "the connection was closed" : detail) +
                            ".");
            }
        } else {
            sent = platform::SendSocket(connection.socket, data.data(), data.size());
            if (sent < 0) {
                const int error = platform::LastSocketError();
                if (error == platform::kErrWouldBlock) {
                    if (!Await(connection, true)) {
                        return false;
                    }
                    continue;
                }
                return Fail("Sending to " + Endpoint(connection.host, connection.port) +
                            " failed: " + SocketErrorText(error) + ".");
            }
        }
        data.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

long WireHttpClient::Receive(WireConnection& connection, char* buffer, std::size_t size) {
    // Checked here as well as in each wait: a server that never lets the socket run dry would
    // otherwise never meet the deadline.
    if (Clock::now() >= deadline_) {
        timedOut_ = true;
        Fail("The call exceeded its deadline of " + std::to_string(deadlineMs_) + " ms.");
        return -1;
    }
    for (;;) {
        if (connection.ssl != nullptr) {
            const int chunk = size > INT_MAX ? INT_MAX : static_cast<int>(size);
            const int n = DynSSL::SSL_read(connection.ssl, buffer, chunk);
            if (n > 0) {
                connection.gotBytes = true;
                return n;
            }
            const int error = DynSSL::SSL_get_error(connection.ssl, n);
            if (error == kSslErrorZeroReturn) {
                return 0;
            }
            if (error == kSslErrorWantRead || error == kSslErrorWantWrite) {
                if (!Await(connection, error == kSslErrorWantWrite)) {
                    return -1;
                }
                continue;
            }
            const std::string detail = OpenSslErrors();
            if (detail.empty()) {
                return 0;  // the server closed the connection without a TLS goodbye
            }
            Fail("Reading from " + Endpoint(connection.host, connection.port) +
                 " failed: " + detail + ".");
            return -1;
        }
        const long n = platform::RecvSocket(connection.socket, buffer, size);
        if (n > 0) {
            connection.gotBytes = true;
            return n;
        }
        if (n == 0) {
            return 0;
        }
        const int error = platform::LastSocketError();
        if (error != platform::kErrWouldBlock) {
            Fail("Reading from " + Endpoint(connection.host, connection.port) +
                 " failed: " + SocketErrorText(error) + ".");
            return -1;
        }
        if (!Await(connection, false)) {
            return -1;
        }
    }
}

bool WireHttpClient::Fill(WireConnection& connection) {
    std::string& buffer = connection.buffer;
    if (connection.start == connection.end) {
        connection.start = 0;
        connection.end = 0;
    }
    if (buffer.size() < connection.end + kReadChunk && connection.start > 0) {
        // Room at the front: move what is left there before growing.
        std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(connection.start),
                  buffer.begin() + static_cast<std::ptrdiff_t>(connection.end), buffer.begin());
        connection.end -= connection.start;
        connection.start = 0;
    }
    if (buffer.size() < connection.end + kReadChunk) {
        buffer.resize(connection.end + kReadChunk);
    }
    const long n = Receive(connection, &buffer[connection.end], kReadChunk);
    connection.end += n > 0 ? static_cast<std::size_t>(n) : 0;
    if (n == 0) {
        return Fail("The connection to " + Endpoint(connection.host, connection.port) +
                    " closed before the answer was complete.");
    }
    return n > 0;
}

bool WireHttpClient::ReadHead(WireConnection& connection, WireAnswer& answer, bool& keepAlive) {
    for (;;) {
        std::size_t end;
        while ((end = connection.Unread().find("\r\n\r\n")) == std::string_view::npos) {
            if (connection.Unread().size() > kMaxHead) {
                return Fail("The answer's header is larger than " + std::to_string(kMaxHead) +
                            " bytes.");
            }
            if (!Fill(connection)) {
                return false;
            }
        }
        const std::string_view head = connection.Unread().substr(0, end + 2);
        connection.start += end + 4;
        const std::size_t lineEnd = head.find("\r\n");
        const std::string_view statusLine = head.substr(0, lineEnd);
        // "HTTP/1.x SSS reason"
        if (statusLine.size() < 12 || statusLine.compare(0, 5, "HTTP/") != 0 ||
            statusLine[6] != '.' || statusLine[8] != ' ') {
            return Fail("Not an HTTP answer: " + std::string(statusLine.substr(0, 80)));
        }
        std::size_t status = 0;
        if (!ParseDecimal(statusLine.substr(9, 3), status) ||
            (statusLine.size() > 12 && statusLine[12] != ' ')) {
            return Fail("Invalid HTTP status line: " + std::string(statusLine.substr(0, 80)));
        }
        answer.status = static_cast<int>(status);
        answer.reason.assign(statusLine.size() > 13 ? statusLine.substr(13) : "");
        answer.headers.assign(head.substr(lineEnd + 2));
        const bool http10 = statusLine.compare(5, 3, "1.0") == 0;
        const std::string_view connectionHeader = answer.Header("Connection");
        keepAlive = http10 ? HasToken(connectionHeader, "keep-alive")
                           : !HasToken(connectionHeader, "close");
        // Interim answers (100 Continue and the like) precede the real one.
        if (status >= 100 && status < 200 && status != 101) {
            continue;
        }
        return true;
    }
}

bool WireHttpClient::ReadAnswer(WireConnection& connection, std::string_view method,
                                WireAnswer& answer, bool& keepAlive) {
    if (!ReadHead(connection, answer, keepAlive)) {
        return false;
    }
    const int status = answer.status;
    bool ok = true;
    if (method == "HEAD" || status == 204 || status == 304) {
        // No body, whatever the headers announce.
    } else if (HasToken(answer.Header("Transfer-Encoding"), "chunked")) {
        ok = ReadChunked(connection, answer.body);
    } else if (std::string_view length = answer.Header("Content-Length"); !length.empty()) {
        std::size_t size = 0;
        if (!ParseDecimal(length, size)) {
            return Fail("Invalid Content-Length in the answer: " + std::string(length));
        }
        ok = !TooLarge(size) && ReadLength(connection, size, answer.body);
    } else {
        keepAlive = false;
        ok = ReadToClose(connection, answer.body);
    }
    if (!ok) {
        return false;
    }
    if (gzip_ && EqualsIgnoringCase(answer.Header("Content-Encoding"), "gzip")) {
        if (!Gunzip(answer.body, gunzipped_, maxAnswer_, error_)) {
            return false;
        }
        answer.body.swap(gunzipped_);
    }
    return true;
}

bool WireHttpClient::ReadLength(WireConnection& connection, std::size_t length, std::string& body) {
    const std::string_view ready = connection.Unread().substr(0, length);
    body.assign(ready);
    connection.start += ready.size();
    if (body.size() == length) {
        return true;
    }
    // The rest goes straight into its place.
    std::size_t have = body.size();
    body.resize(length);
    while (have < length) {
        const long n = Receive(connection, &body[have], length - have);
        if (n <= 0) {
            body.resize(have);
            return n == 0 ? Fail("The connection to " + Endpoint(connection.host, connection.port) +
                                 " closed before the answer was complete.")
                          : false;
        }
        have += static_cast<std::size_t>(n);
    }
    return true;
}

bool WireHttpClient::ReadChunked(WireConnection& connection, std::string& body) {
    for (;;) {
        std::size_t lineEnd;
        while ((lineEnd = connection.Unread().find("\r\n")) == std::string_view::npos) {
            if (connection.Unread().size() > kMaxHead) {
                return Fail("Invalid chunk size line in the answer.");
            }
            if (!Fill(connection)) {
                return false;
            }
        }
        std::string_view line = connection.Unread().substr(0, lineEnd);
        line = Trim(line.substr(0, line.find(';')));  // chunk extensions are ignored
        std::size_t size = 0;
        if (line.empty() || line.size() > 15) {
            return Fail("Invalid chunk size line in the answer.");
        }
        for (char c : line) {
            const int digit = (c >= '0' && c <= '9')   ? c - '0'
                              : (c >= 'a' && c <= 'f') ? c - 'a' + 10
                              : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                                       : -1;
            if (digit < 0) {
                return Fail("Invalid chunk size line in the answer.");
            }
            size = size * 16 + static_cast<std::size_t>(digit);
        }
        connection.start += lineEnd + 2;
        if (size == 0) {
            // Trailer lines, up to the empty line that ends the answer.
            for (;;) {
                while ((lineEnd = connection.Unread().find("\r\n")) == std::string_view::npos) {
                    if (connection.Unread().size() > kMaxHead) {
                        return Fail("The answer's trailer is larger than " +
                                    std::to_string(kMaxHead) + " bytes.");
                    }
                    if (!Fill(connection)) {
                        return false;
                    }
                }
                connection.start += lineEnd + 2;
                if (lineEnd == 0) {
                    return true;
                }
            }
        }
        if (TooLarge(body.size() + size)) {
            return false;
        }
        while (connection.Unread().size() < size + 2) {
            // Take what has come, so the buffer holds at most one read beyond the chunk.
            const std::string_view part = connection.Unread().substr(0, size);
            body.append(part);
            connection.start += part.size();
            size -= part.size();
            if (size == 0 && connection.Unread().size() >= 2) {
                break;
            }
            if (!Fill(connection)) {
                return false;
            }
        }
        body.append(connection.Unread().substr(0, size));
        connection.start += size;
        if (connection.Unread().substr(0, 2) != "\r\n") {
            return Fail("Invalid chunk framing in the answer.");
        }
        connection.start += 2;
    }
}

bool WireHttpClient::ReadToClose(WireConnection& connection, std::string& body) {
    body.assign(connection.Unread());
    connection.start = connection.end;
    for (;;) {
        if (TooLarge(body.size())) {
            return false;
        }
        const std::size_t used = body.size();
        body.resize(used + kReadChunk);
        const long n = Receive(connection, &body[used], kReadChunk);
        body.resize(used + (n > 0 ? static_cast<std::size_t>(n) : 0));
        if (n == 0) {
            return true;
        }
        if (n < 0) {
            return false;
        }
    }
}

}  // namespace corvane::detail
