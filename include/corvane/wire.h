// WMWireOptions: the standard wire mode, an extension. Off by default; every object keeps its
// deliberate wire behaviour (HTTP/1.0, ISO-8859-1 bytes with a zero after the body, TLS on port
// 443 without verification) until a caller switches the mode on.
//
// With `standard` set, the HTTP exchange is HTTP/1.1: the scheme of the endpoint's URL chooses
// TLS ("https://" on any port), connections are kept and reused per scheme, host and port,
// answers may be chunked or gzip-compressed, and TLS is TLS 1.2 or newer with SNI and a verified
// server certificate. The other fields tune that exchange; they are read only in standard mode.
// Envelopes written in the standard mode bind each namespace prefix once, on the Envelope
// element, rather than on every value that uses it.
#ifndef CORVANE_WIRE_H
#define CORVANE_WIRE_H

#include <corvane/types.h>

#include <cstddef>

// Extension. A plain value: copy it into each object that takes it.
struct WMWireOptions {
    // Switches the standard wire mode on.
    bool standard = false;

    // The server's certificate is checked against `caFile` (PEM, one or more certificates)
    // or, when it is empty, against the system's certificate store, and its names against the
    // URL's host. Only an explicit `verifyServerCertificate = false` turns the check off.
    WMString caFile;
    bool verifyServerCertificate = true;

    // A client certificate (PEM chain) and its private key (PEM, not encrypted), sent when the
    // server asks for one. Both or neither.
    WMString clientCertificateFile;
    WMString clientKeyFile;

    // HTTP Basic authentication, sent with every request to the URL's host (not to the host of a
    // redirect elsewhere). No authentication while `user` is empty.
    WMString user;
    WMString password;

    // An HTTP proxy as "http://[user:password@]host:port". Plain requests go through it with
    // absolute URLs; TLS goes through a CONNECT tunnel, so the proxy never sees the content.
    WMString proxy;

    // Redirects (301, 302, 303, 307, 308) are followed only when asked, at most `maxRedirects`
    // times in a call (values above 5 count as 5), and never from https to http.
    bool followRedirects = false;
    int maxRedirects = 5;

    // A kept connection unused for longer than this is closed instead of being reused.
    unsigned long idleMilliseconds = 30000;

    // The whole exchange (connect, TLS handshake, request, answer, redirects) ends with an error
    // after this time, however the server paces its bytes; 0 means no limit. The per-wait time-out
    // of the object still bounds each single wait.
    unsigned long deadlineMilliseconds = 120000;

    // An answer body larger than this (after decompression) fails the call.
    std::size_t maxAnswerBytes = std::size_t{128} * 1024 * 1024;

    // Asks for gzip-compressed answers ("Accept-Encoding: gzip") and decompresses them.
    bool gzip = true;

    // Extension, read only with `standard`: WMSOAPClient::InvokeSOAPMethod calls document-style
    // operations (wrapped and bare) and rpc-style operations of literal use with values written
    // and read by the WSDL's schema (docs/values.md, docs/client.md), in the SOAP version of the
    // port's binding. Without it a document-style operation is refused as it always was. The
    // server side: WMSOAPServerCall::SetLiteralService.
    bool documentLiteral = false;
    // With documentLiteral: a message holding more occurrences of one repeated element than
    // this (whatever its maxOccurs allows) is refused.
    std::size_t maxOccurs = 100000;
};

#endif
