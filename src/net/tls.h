// Internal TLS helpers shared by the socket and the HTTP client.
#ifndef CORVANE_NET_TLS_H
#define CORVANE_NET_TLS_H

#include <chrono>

#include "platform/socket.h"

struct ssl_ctx_st;
struct ssl_st;
struct ssl_method_st;
struct x509_store_ctx_st;
struct X509_VERIFY_PARAM_st;

namespace corvane::detail {

// Frees a context made by DynSSL::SSL_CTX_new (no forwarder exists for it).
void FreeTlsContext(ssl_ctx_st* context);

// The OpenSSL entry points that verified TLS needs beyond DynSSL's 48 forwarders. They are
// resolved from the same libraries but kept out of the exported class: its entry list, and the
// loader's answer when one is missing, stay what they are. All are present in OpenSSL 1.1 and 3.
struct TlsVerifyApi {
    ssl_method_st const* (*TLS_client_method)();
    long (*SSL_CTX_ctrl)(ssl_ctx_st*, int, long, void*);
    void (*SSL_CTX_set_verify)(ssl_ctx_st*, int, int (*)(int, x509_store_ctx_st*));
    int (*SSL_CTX_set_default_verify_paths)(ssl_ctx_st*);
    int (*SSL_CTX_use_certificate_chain_file)(ssl_ctx_st*, char const*);
    int (*SSL_CTX_check_private_key)(ssl_ctx_st const*);
    int (*SSL_set1_host)(ssl_st*, char const*);
    X509_VERIFY_PARAM_st* (*SSL_get0_param)(ssl_st*);
    int (*X509_VERIFY_PARAM_set1_ip_asc)(X509_VERIFY_PARAM_st*, char const*);
    long (*SSL_get_verify_result)(ssl_st const*);
    char const* (*X509_verify_cert_error_string)(long);
    void (*ERR_clear_error)();
};

// Loads OpenSSL as DynSSL does and answers the extra entry points; null when the libraries
// could not be loaded or one of the entry points is missing (OpenSSL 1.0).
TlsVerifyApi const* LoadTlsVerifyApi();

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
