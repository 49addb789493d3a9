// WMHTTPRequestSock: one HTTP/1.0 request over TCP (TLS exactly when the port is 443) and the
// status line, header lines and body of its response.
#ifndef CORVANE_HTTP_H
#define CORVANE_HTTP_H

#include <corvane/socket.h>
#include <corvane/types.h>

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

class WMHostEnt;
namespace corvane::detail {
struct HttpContentAccess;
}  // namespace corvane::detail

class CORVANE_API WMHTTPRequestSock : public WMWinSocket2 {
public:
    WMHTTPRequestSock(int defaultPort, unsigned long timeout);
    WMHTTPRequestSock(WMHTTPRequestSock const& other);
    WMHTTPRequestSock& operator=(WMHTTPRequestSock const& other);
    ~WMHTTPRequestSock() override;

    // Sends `method` for `path` (and `query` when not empty) to host:port, with the caller's
    // header block (each line ending in "\r\n") and body, and collects the response. A port of
    // 0 or less takes the default port. True when the exchange ran to its end.
    bool SendHTTPRequest(int port, WMString const& method, WMString const& host,
                         WMString const& path, WMString const& query, WMString const& headers,
                         WMString const& body);

    void Clear();
    int GetStatus();
    WMString GetReasonPhrase();
    unsigned short GetHTTPVersion();  // major number in the high byte, minor in the low byte
    int GetContentLength();
    WMString GetContentType();
    WMChar* GetContent();  // the zero-terminated body; null when nothing was received
    // Everything after the colon of the first header line named `name` (any case), leading
    // space included; empty when there is none.
    WMString GetHeader(WMChar const* name);

private:
    friend struct corvane::detail::HttpContentAccess;

    WMString URIEscape(WMString const& text);
    bool ReadHeader();
    bool ParseStatusLine(WMString const& line);
    void ParseHeader();
    bool OnSockWrite() override;
    bool OnSockRead(bool& more) override;
    void OnSockClose() override;
    bool ReadTLS(bool& more);
    bool Append(char const* bytes, long count);
    bool Reserve(std::size_t capacity);

    int m_nDefaultPort;
    WMString m_contentType;
    int m_nContentLength;
    int m_nMajorVersion;
    int m_nMinorVersion;
    bool m_bStatusLineSeen;
    WMString m_statusCode;
    WMString m_reasonPhrase;
    std::unique_ptr<char[]> m_receiveBuffer;  // 64 KiB, not zeroed: each read fills what it uses
    // malloc/realloc-grown (large blocks grow without copying), always zero-terminated; before
    // the header block is complete it holds everything received, afterwards only the body.
    WMChar* m_pContent;
    std::size_t m_nContentSize;
    std::size_t m_nContentCapacity;
    std::size_t m_lineStart;   // where the next header line begins in the content
    std::size_t m_searchFrom;  // where ReadHeader goes on looking for a line end
    std::list<WMString> m_headerLines;
    bool m_bHeadersComplete;
    std::map<WMString, std::unique_ptr<WMHostEnt>> m_hostCache;
    unsigned long m_socketTimeout;
    WMString m_method;
    WMString m_requestURI;
    WMString m_headers;
    WMString const* m_pBody;  // the caller's body, while SendHTTPRequest runs
    bool m_bRequestSent;
    bool m_bFailed;         // the status line was refused or the response grew past its limit
    bool m_bZeroInContent;  // a zero byte came with the response: the text may end before it
};

#endif
