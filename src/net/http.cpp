#include <corvane/dynssl.h>
#include <corvane/http.h>
#include <corvane/utf8.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "net/host_ent.h"
#include "net/http_content.h"
#include "net/network_events.h"
#include "net/tls.h"
#include "platform/codepage.h"
#include "platform/socket.h"

namespace {

namespace platform = corvane::platform;

// Large reads keep a 20 MB response to a few hundred calls; the response is appended in place.
constexpr std::size_t kReceiveBufferSize = 64 * 1024;
// A response beyond this fails instead of exhausting memory (bad or endless peers).
constexpr std::size_t kMaxResponseUnits = 128u * 1024 * 1024;
constexpr std::size_t kMaxPresizeUnits = 32u * 1024 * 1024;
// Send takes an int length: larger requests go out in pieces, queued in order.
constexpr std::size_t kMaxSendPiece = 1u << 30;
constexpr int kHttpsPort = 443;
constexpr int kSslZeroReturn = 6;

bool IsSpace(WMChar c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

// Decimal reading of a number text: leading white space, a sign, digits; saturates at the
// int range and gives 0 when no digit follows.
int DecimalValue(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && IsSpace(text[i])) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
        negative = text[i] == u'-';
        ++i;
    }
    long long value = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
        value = value * 10 + (text[i] - u'0');
        if (value > static_cast<long long>(INT_MAX) + 1) {
            value = static_cast<long long>(INT_MAX) + 1;
        }
    }
    if (negative) {
        return static_cast<int>(-value);
    }
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

// Reads the digits that start `text`; false when there is none.
bool LeadingNumber(std::u16string_view text, int& value) {
    if (text.empty() || text[0] < u'0' || text[0] > u'9') {
        return false;
    }
    value = DecimalValue(text);
    return true;
}

WMChar FoldCase(WMChar c) {
    return c >= u'a' && c <= u'z' ? static_cast<WMChar>(c - 32) : c;
}

bool EqualsIgnoringCase(WMChar const* a, std::size_t length, WMChar const* b) {
    std::size_t i = 0;
    for (; i < length; ++i) {
        if (b[i] == 0 || FoldCase(a[i]) != FoldCase(b[i])) {
            return false;
        }
    }
    return b[i] == 0;
}

// The position of `c` in text[from, size), or WMString::npos.
std::size_t Find(WMChar const* text, std::size_t size, std::size_t from, WMChar c) {
    if (from >= size) {
        return WMString::npos;
    }
    WMChar const* found = std::char_traits<WMChar>::find(text + from, size - from, c);
    return found == nullptr ? WMString::npos : static_cast<std::size_t>(found - text);
}

// A host given as four decimal parts without leading zeros, which every resolver reads as
// that address alone: no lookup, and nothing for the host cache to keep.
bool DottedQuad(WMString const& host, unsigned char (&address)[4]) {
    std::size_t at = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && (at >= host.size() || host[at++] != u'.')) {
            return false;
        }
        const std::size_t start = at;
        unsigned value = 0;
        while (at < host.size() && at - start < 3 && host[at] >= u'0' && host[at] <= u'9') {
            value = value * 10 + (host[at++] - u'0');
        }
        const std::size_t digits = at - start;
        if (digits == 0 || value > 255 || (digits > 1 && host[start] == u'0')) {
            return false;
        }
        address[part] = static_cast<unsigned char>(value);
    }
    return at == host.size();
}

// The host's first IPv4 address, resolved once per request object (the cache is the
// object's); false when it has none.
template <typename HostCache>
bool CachedAddress(HostCache& cache, WMString const& host, unsigned char (&address)[4]) {
    auto cached = cache.find(host);
    if (cached == cache.end()) {
        std::string name;
        WideStringToUTF8(host, name);
        std::unique_ptr<WMHostEnt> record;
        if (!platform::ResolveHost(name, [&record](hostent const* found) {
                record = std::make_unique<WMHostEnt>(found);
            })) {
            return false;
        }
        cached = cache.emplace(host, std::move(record)).first;
    }
    WMHostEnt const& record = *cached->second;
    char* const* addresses = record.GetAddrList();
    if (addresses[0] == nullptr || record.GetAddrLength() != 4) {
        return false;
    }
    for (int i = 0; i < 4; ++i) {
        address[i] = static_cast<unsigned char>(addresses[0][i]);
    }
    return true;
}

// A client makes a request object per call; the receive buffer of the last one to end on this
// thread serves the next, which saves allocating and freeing 64 KiB on every call, and so do
// its header lines (each a list node and a text). A request object that ends after the
// thread's own objects (a static one) keeps its own.
thread_local bool t_spareGone = false;
struct SpareReceiveBuffer {
    std::unique_ptr<char[]> buffer;
    std::list<WMString> lines;
    ~SpareReceiveBuffer() { t_spareGone = true; }
};
thread_local SpareReceiveBuffer t_spare;
// More header lines than an answer usually has; what an unusual one brings beyond it is freed.
constexpr std::size_t kSpareLines = 16;

std::unique_ptr<char[]> TakeReceiveBuffer() {
    if (!t_spareGone && t_spare.buffer) {
        return std::move(t_spare.buffer);
    }
    return std::unique_ptr<char[]>(new char[kReceiveBufferSize]);
}

void KeepReceiveBuffer(std::unique_ptr<char[]>& buffer) {
    if (!t_spareGone && !t_spare.buffer) {
        t_spare.buffer = std::move(buffer);
    }
}

// Empties `lines`, keeping their nodes for the thread's next answer.
void KeepLines(std::list<WMString>& lines) {
    if (!t_spareGone && t_spare.lines.size() + lines.size() <= kSpareLines) {
        t_spare.lines.splice(t_spare.lines.end(), lines);
    }
    lines.clear();
}

// Appends a line to `lines`, in a kept node where there is one.
void AddLine(std::list<WMString>& lines, WMChar const* text, std::size_t size) {
    if (!t_spareGone && !t_spare.lines.empty()) {
        t_spare.lines.front().assign(text, size);  // should it throw, the node stays spare
        lines.splice(lines.end(), t_spare.lines, t_spare.lines.begin());
    } else {
        lines.emplace_back(text, size);
    }
}

void AppendNumber(WMString& text, int value) {
    WMChar digits[16];
    WMChar* at = digits + sizeof(digits) / sizeof(digits[0]);
    unsigned magnitude =
        value < 0 ? 0U - static_cast<unsigned>(value) : static_cast<unsigned>(value);
    do {
        *--at = static_cast<WMChar>(u'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) {
        *--at = u'-';
    }
    text.append(at, digits + sizeof(digits) / sizeof(digits[0]));
}

WMString Hex(unsigned value) {
    char digits[8];
    std::snprintf(digits, sizeof(digits), "%X", value);
    return platform::AnsiToWide(digits);
}

}  // namespace

WMHTTPRequestSock::WMHTTPRequestSock(int defaultPort, unsigned long timeout)
    : WMWinSocket2(timeout),
      m_nDefaultPort(defaultPort),
      m_nContentLength(0),
      m_nMajorVersion(1),
      m_nMinorVersion(0),
      m_bStatusLineSeen(false),
      m_receiveBuffer(TakeReceiveBuffer()),
      m_pContent(nullptr),
      m_nContentSize(0),
      m_nContentCapacity(0),
      m_lineStart(0),
      m_searchFrom(0),
      m_bHeadersComplete(false),
      m_socketTimeout(timeout),
      m_pBody(nullptr),
      m_bRequestSent(false),
      m_bFailed(false),
      m_bZeroInContent(false) {}

WMHTTPRequestSock::WMHTTPRequestSock(WMHTTPRequestSock const& other)
    : WMWinSocket2(other),
      m_nDefaultPort(other.m_nDefaultPort),
      m_contentType(other.m_contentType),
      m_nContentLength(other.m_nContentLength),
      m_nMajorVersion(other.m_nMajorVersion),
      m_nMinorVersion(other.m_nMinorVersion),
      m_bStatusLineSeen(other.m_bStatusLineSeen),
      m_statusCode(other.m_statusCode),
      m_reasonPhrase(other.m_reasonPhrase),
      m_receiveBuffer(TakeReceiveBuffer()),
      m_pContent(nullptr),
      m_nContentSize(0),
      m_nContentCapacity(0),
      m_lineStart(other.m_lineStart),
      m_searchFrom(other.m_searchFrom),
      m_headerLines(other.m_headerLines),
      m_bHeadersComplete(other.m_bHeadersComplete),
      m_socketTimeout(other.m_socketTimeout),
      m_method(other.m_method),
      m_requestURI(other.m_requestURI),
      m_headers(other.m_headers),
      m_pBody(nullptr),
      m_bRequestSent(other.m_bRequestSent),
      m_bFailed(other.m_bFailed),
      m_bZeroInContent(other.m_bZeroInContent) {
    for (auto const& entry : other.m_hostCache) {
        m_hostCache.emplace(entry.first, std::make_unique<WMHostEnt>(*entry.second));
    }
    if (other.m_pContent != nullptr) {
        const std::size_t bytes = (other.m_nContentSize + 1) * sizeof(WMChar);
        m_pContent = static_cast<WMChar*>(std::malloc(bytes));
        if (m_pContent == nullptr) {
            throw std::bad_alloc();
        }
        std::memcpy(m_pContent, other.m_pContent, bytes);
        m_nContentSize = other.m_nContentSize;
        m_nContentCapacity = other.m_nContentSize;
    }
}

WMHTTPRequestSock& WMHTTPRequestSock::operator=(WMHTTPRequestSock const& other) {
    if (this != &other) {
        WMHTTPRequestSock copy(other);
        WMWinSocket2::operator=(other);
        m_nDefaultPort = copy.m_nDefaultPort;
        m_contentType = std::move(copy.m_contentType);
        m_nContentLength = copy.m_nContentLength;
        m_nMajorVersion = copy.m_nMajorVersion;
        m_nMinorVersion = copy.m_nMinorVersion;
        m_bStatusLineSeen = copy.m_bStatusLineSeen;
        m_statusCode = std::move(copy.m_statusCode);
        m_reasonPhrase = std::move(copy.m_reasonPhrase);
        std::swap(m_pContent, copy.m_pContent);
        std::swap(m_nContentSize, copy.m_nContentSize);
        std::swap(m_nContentCapacity, copy.m_nContentCapacity);
        m_lineStart = copy.m_lineStart;
        m_searchFrom = copy.m_searchFrom;
        m_headerLines = std::move(copy.m_headerLines);
        m_bHeadersComplete = copy.m_bHeadersComplete;
        m_hostCache = std::move(copy.m_hostCache);
        m_socketTimeout = copy.m_socketTimeout;
        m_method = std::move(copy.m_method);
        m_requestURI = std::move(copy.m_requestURI);
        m_headers = std::move(copy.m_headers);
        m_bRequestSent = copy.m_bRequestSent;
        m_bFailed = copy.m_bFailed;
        m_bZeroInContent = copy.m_bZeroInContent;
    }
    return *this;
}

WMHTTPRequestSock::~WMHTTPRequestSock() {
    std::free(m_pContent);
    KeepReceiveBuffer(m_receiveBuffer);
    KeepLines(m_headerLines);
}

bool WMHTTPRequestSock::SendHTTPRequest(int port, WMString const& method, WMString const& host,
                                        WMString const& path, WMString const& query,
                                        WMString const& headers, WMString const& body) {
    if (!IsInitialized()) {
        return false;
    }
    Clear();
    m_nMajorVersion = 1;
    m_nMinorVersion = 0;
    m_bRequestSent = false;
    const int usePort = port > 0 ? port : m_nDefaultPort;

    unsigned char address[4];
    if (!DottedQuad(host, address) && !CachedAddress(m_hostCache, host, address)) {
        m_nLastError = platform::kErrAddrNotAvail;
        return false;
    }

    m_method = method;
    m_requestURI = URIEscape(path);
    if (!query.empty()) {
        m_requestURI += u'?';
        m_requestURI += URIEscape(query);
    }
    m_headers = headers;
    // The body is sent from where it is: a large request is not copied once more.
    m_pBody = &body;

    platform::Ipv4Address endpoint(address, usePort);
    // TLS follows the port asked for, not the default port.
    const bool finished = Connect(endpoint.Get(), port == kHttpsPort ? 1 : 0);
    m_pBody = nullptr;
    return finished && !m_bFailed;
}

void WMHTTPRequestSock::Clear() {
    KeepLines(m_headerLines);
    std::free(m_pContent);
    m_pContent = nullptr;
    m_nContentSize = 0;
    m_nContentCapacity = 0;
    m_contentType.clear();
    m_nContentLength = 0;
    m_statusCode.clear();
    m_reasonPhrase.clear();
    m_bStatusLineSeen = false;
    m_bHeadersComplete = false;
    m_lineStart = 0;
    m_searchFrom = 0;
    m_bFailed = false;
    m_bZeroInContent = false;
}

int WMHTTPRequestSock::GetStatus() {
    return DecimalValue(m_statusCode);
}

WMString WMHTTPRequestSock::GetReasonPhrase() {
    return m_reasonPhrase;
}

unsigned short WMHTTPRequestSock::GetHTTPVersion() {
    return static_cast<unsigned short>(((m_nMajorVersion & 0xFF) << 8) | (m_nMinorVersion & 0xFF));
}

int WMHTTPRequestSock::GetContentLength() {
    return m_nContentLength;
}

WMString WMHTTPRequestSock::GetContentType() {
    return m_contentType;
}

WMChar* WMHTTPRequestSock::GetContent() {
    return m_pContent;
}

WMString WMHTTPRequestSock::GetHeader(WMChar const* name) {
    if (name == nullptr) {
        return WMString();
    }
    for (WMString const& line : m_headerLines) {
        const std::size_t colon = line.find(u':');
        if (colon != WMString::npos && EqualsIgnoringCase(line.data(), colon, name)) {
            return line.substr(colon + 1);
        }
    }
    return WMString();
}

// Escapes for the request line. A code below 16 gives "%", one digit and a zero character,
// and a code above 255 keeps only its first two hexadecimal digits: both kept on purpose.
WMString WMHTTPRequestSock::URIEscape(WMString const& text) {
    static const WMString kKept = u"/&=-_.!~*'()";
    WMString escaped;
    escaped.reserve(text.size());
    for (WMChar c : text) {
        if (c == u' ') {
            escaped += u'+';
        } else if ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') ||
                   (c >= u'0' && c <= u'9') || kKept.find(c) != WMString::npos) {
            escaped += c;
        } else {
            const WMString hex = Hex(c);
            escaped += u'%';
            escaped += hex[0];
            escaped += hex.size() > 1 ? hex[1] : u'\0';
        }
    }
    return escaped;
}

// Sends the whole request once, on the first write event. The text goes out in the code page
// with its terminating zero, so a zero byte follows the body on the wire.
bool WMHTTPRequestSock::OnSockWrite() {
    if (m_bRequestSent) {
        return true;
    }
    m_bRequestSent = true;
    WMString requestLine;
    requestLine.reserve(m_method.size() + m_requestURI.size() + 32);
    requestLine += m_method;
    requestLine += u' ';
    requestLine += m_requestURI;
    requestLine += u" HTTP/";
    AppendNumber(requestLine, m_nMajorVersion);
    requestLine += u'.';
    AppendNumber(requestLine, m_nMinorVersion);
    requestLine += u"\r\n";
    static const WMString kBlankLine = u"\r\n";
    static const WMString kNoBody;
    const WMString* parts[] = {&requestLine, &m_headers, &kBlankLine,
                               m_pBody != nullptr ? m_pBody : &kNoBody};
    std::size_t length = 0;
    for (WMString const* part : parts) {
        length += part->size();
    }
    // Every byte but the terminating zero is written by the conversion.
    const std::size_t total = length + 1;
    std::unique_ptr<char[]> bytes(new char[total]);
    std::size_t at = 0;
    for (WMString const* part : parts) {
        platform::WideToAnsi(part->data(), part->size(), bytes.get() + at);
        at += part->size();
    }
    bytes[length] = '\0';
    for (std::size_t sent = 0; sent < total;) {
        const std::size_t piece = total - sent > kMaxSendPiece ? kMaxSendPiece : total - sent;
        if (!Send(bytes.get() + sent, static_cast<int>(piece))) {
            m_bFailed = true;
            return false;
        }
        sent += piece;
    }
    return true;
}

bool WMHTTPRequestSock::OnSockRead(bool& more) {
    if (m_bUseSSL) {
        return ReadTLS(more);
    }
    int received = 0;
    if (!Recv(m_receiveBuffer.get(), static_cast<int>(kReceiveBufferSize), &received)) {
        more = false;
        return false;
    }
    more = received > 0;
    return received > 0 ? Append(m_receiveBuffer.get(), received) : true;
}

bool WMHTTPRequestSock::ReadTLS(bool& more) {
    m_hEvent->NoteReceive();
    char* buffer = m_receiveBuffer.get();
    const int size = static_cast<int>(kReceiveBufferSize);
    corvane::detail::TlsRetry retry(m_socket, m_socketTimeout);
    platform::ClearSocketError();
    int received = DynSSL::SSL_read(m_ssl, buffer, size);
    while (received <= 0) {
        if (!retry.Wait(DynSSL::SSL_get_error(m_ssl, received))) {
            HandleError(received);
            // A record that stops half-way is a silent peer, as in the connection run, and a
            // reset connection is a failed exchange; a close (notified or not) ends it well.
            if (retry.TimedOut() || retry.SocketError() != 0) {
                m_nLastError = retry.TimedOut() ? platform::kErrTimeout : retry.SocketError();
                m_bFailed = true;
            }
            more = false;
            return false;
        }
        platform::ClearSocketError();
        received = DynSSL::SSL_read(m_ssl, buffer, size);
    }
    more = true;
    if (!Append(buffer, received)) {
        return false;
    }
    // A readiness wait cannot see what the TLS layer has already decrypted: take all of it.
    while ((received = DynSSL::SSL_read(m_ssl, buffer, size)) > 0) {
        if (!Append(buffer, received)) {
            return false;
        }
    }
    // The peer's close notification ends the response even while its socket stays open.
    return DynSSL::SSL_get_error(m_ssl, received) != kSslZeroReturn;
}

void WMHTTPRequestSock::OnSockClose() {}

bool WMHTTPRequestSock::Append(char const* bytes, long count) {
    const std::size_t added = static_cast<std::size_t>(count);
    if (m_nContentSize + added > kMaxResponseUnits) {
        m_nLastError = platform::kErrNoBuffers;
        m_bFailed = true;
        return false;
    }
    if (m_nContentSize + added + 1 > m_nContentCapacity) {
        std::size_t capacity = m_nContentCapacity < 4096 ? 4096 : m_nContentCapacity * 2;
        if (!Reserve(capacity < m_nContentSize + added + 1 ? m_nContentSize + added + 1
                                                           : capacity)) {
            return false;
        }
    }
    if (!m_bZeroInContent && std::memchr(bytes, 0, added) != nullptr) {
        m_bZeroInContent = true;
    }
    platform::AnsiToWide(bytes, added, m_pContent + m_nContentSize);
    m_nContentSize += added;
    m_pContent[m_nContentSize] = 0;
    if (!m_bHeadersComplete) {
        if (ReadHeader()) {
            if (m_nMajorVersion >= 1) {
                ParseHeader();
                // An announced length sizes the buffer at once; the announcement is the peer's
                // word only, so it is capped.
                if (m_nContentLength > 0) {
                    const std::size_t announced = static_cast<std::size_t>(m_nContentLength);
                    const std::size_t wanted =
                        (announced < kMaxPresizeUnits ? announced : kMaxPresizeUnits) + 1;
                    if (wanted > m_nContentCapacity && !Reserve(wanted)) {
                        return false;
                    }
                }
            }
        } else if (m_bFailed) {
            return false;
        }
    }
    return true;
}

bool WMHTTPRequestSock::Reserve(std::size_t capacity) {
    void* grown = std::realloc(m_pContent, capacity * sizeof(WMChar));
    if (grown == nullptr) {
        m_nLastError = platform::kErrNoBuffers;
        m_bFailed = true;
        return false;
    }
    m_pContent = static_cast<WMChar*>(grown);
    m_nContentCapacity = capacity;
    return true;
}

// Takes what it can of the status line and header lines from the content; true once the
// header block is complete. Positions are kept, so every character is looked at once.
bool WMHTTPRequestSock::ReadHeader() {
    if (!m_bStatusLineSeen) {
        const std::size_t lineFeed = Find(m_pContent, m_nContentSize, m_searchFrom, u'\n');
        if (lineFeed == WMString::npos) {
            m_searchFrom = m_nContentSize;
            return false;
        }
        // The status line loses its last character, the carriage return.
        if (!ParseStatusLine(WMString(m_pContent, lineFeed == 0 ? 0 : lineFeed - 1))) {
            m_bFailed = true;
            return false;
        }
        m_bStatusLineSeen = true;
        if (m_nMajorVersion < 1) {
            m_bHeadersComplete = true;  // HTTP/0.9: all of it is the body
            return true;
        }
        m_lineStart = lineFeed + 1;
        m_searchFrom = m_lineStart;
    }
    for (;;) {
        const std::size_t carriageReturn = Find(m_pContent, m_nContentSize, m_searchFrom, u'\r');
        if (carriageReturn == WMString::npos || carriageReturn + 1 >= m_nContentSize) {
            m_searchFrom = carriageReturn == WMString::npos ? m_nContentSize : carriageReturn;
            return false;
        }
        // A line is followed by two characters, the carriage return and the line feed.
        const std::size_t next = carriageReturn + 2;
        if (carriageReturn == m_lineStart) {
            m_nContentSize -= next;
            std::memmove(m_pContent, m_pContent + next, (m_nContentSize + 1) * sizeof(WMChar));
            m_bHeadersComplete = true;
            return true;
        }
        AddLine(m_headerLines, m_pContent + m_lineStart, carriageReturn - m_lineStart);
        m_lineStart = next;
        m_searchFrom = next;
    }
}

// Only the first word of the reason phrase is kept, on purpose.
bool WMHTTPRequestSock::ParseStatusLine(WMString const& line) {
    // Only the first three pieces between spaces are ever read.
    std::u16string_view pieces[3];
    std::size_t count = 0;
    const std::u16string_view text(line);
    for (std::size_t start = 0; start <= text.size() && count < 3;) {
        std::size_t space = text.find(u' ', start);
        if (space == std::u16string_view::npos) {
            space = text.size();
        }
        if (space > start) {
            pieces[count++] = text.substr(start, space - start);
        }
        start = space + 1;
    }
    const std::size_t marker = count == 0 ? std::u16string_view::npos : pieces[0].find(u"HTTP/");
    if (marker == std::u16string_view::npos) {
        m_nMajorVersion = 0;
        m_nMinorVersion = 9;
        return true;
    }
    const std::u16string_view version = pieces[0].substr(marker + 5);
    const std::size_t dot = version.find(u'.');
    int major = 0;
    int minor = 0;
    if (dot == std::u16string_view::npos || !LeadingNumber(version.substr(0, dot), major) ||
        !LeadingNumber(version.substr(dot + 1), minor) || count < 2) {
        return false;
    }
    m_nMajorVersion = major;
    m_nMinorVersion = minor;
    m_statusCode.assign(pieces[1]);
    // A status line without a reason phrase is accepted, with an empty one.
    m_reasonPhrase.assign(count > 2 ? pieces[2] : std::u16string_view());
    return true;
}

// The values are taken at fixed positions, assuming one space after the colon, on purpose.
void WMHTTPRequestSock::ParseHeader() {
    static const WMChar kContentLength[] = u"CONTENT-LENGTH";
    static const WMChar kContentType[] = u"CONTENT-TYPE";
    for (WMString const& line : m_headerLines) {
        const std::size_t separator = line.find(u": ");
        const std::size_t nameLength = separator == WMString::npos ? line.size() : separator;
        if (EqualsIgnoringCase(line.data(), nameLength, kContentLength)) {
            m_nContentLength = DecimalValue(line.size() > 16 ? std::u16string_view(line).substr(16)
                                                             : std::u16string_view());
        } else if (EqualsIgnoringCase(line.data(), nameLength, kContentType)) {
            m_contentType.assign(line.size() > 14 ? std::u16string_view(line).substr(14)
                                                  : std::u16string_view());
        }
    }
}
