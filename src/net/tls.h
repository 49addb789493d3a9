// Internal TLS helpers shared by the socket and the HTTP client.
#ifndef CORVANE_NET_TLS_H
#define CORVANE_NET_TLS_H

#include <chrono>

#include "platform/socket.h"

struct ssl_ctx_st;

namespace corvane::detail {

// Frees a context made by DynSSL::SSL_CTX_new (no forwarder exists for it).
void FreeTlsContext(ssl_ctx_st* context);

// When a TLS call on a non-blocking socket cannot go on yet, waits for what it needs before
// the retry. `sslError` is the call's SSL_get_error value. False when the call must not be
// retried: another error, a socket error, or nothing happening before `deadline`.
class TlsRetry {
public:
    TlsRetry(platform::SocketHandle socket, unsigned long timeoutMs);
    bool Wait(int sslError);
    bool TimedOut() const { return timedOut_; }
    int SocketError() const { return socketError_; }  // of a failed system call, else 0

private:
    platform::SocketHandle socket_;
    bool forever_;
    std::chrono::steady_clock::time_point deadline_;
    bool timedOut_ = false;
    int socketError_ = 0;
};

}  // namespace corvane::detail

#endif
