// WMWinSocket2: an event-driven TCP client socket with an optional TLS layer.
#ifndef CORVANE_SOCKET_H
#define CORVANE_SOCKET_H

#include <corvane/types.h>

#include <cstdint>
#include <deque>
#include <string>

struct sockaddr_in;
struct ssl_st;
struct ssl_ctx_st;
struct bio_st;

namespace corvane::detail {
class NetworkEvents;
}  // namespace corvane::detail

// One Connect opens a connection and runs it to its end: it waits for network events (each
// wait bounded by the time-out) and calls the virtual handlers, which a derived class
// overrides. A handler returning false ends the run normally. Data that cannot be sent at once
// is queued and sent, in order, when the socket is writable again.
class CORVANE_API WMWinSocket2 {
public:
    explicit WMWinSocket2(unsigned long timeout);
    // A copy takes the time-out and starts unconnected, with its own event object and an
    // empty queue: two objects never share a socket or TLS handles.
    WMWinSocket2(WMWinSocket2 const& other);
    WMWinSocket2& operator=(WMWinSocket2 const& other);
    virtual ~WMWinSocket2();

    virtual bool OnSockTimeout();
    virtual bool OnSockConnect();
    virtual bool OnSockRead(bool& more);
    virtual bool OnSockWrite();
    virtual void OnSockClose();

    bool IsInitialized();
    bool IsConnected();
    bool Connect(sockaddr_in* address, int useTLS);
    bool Send(char* data, int length);
    bool Recv(char* buffer, int size, int* received);
    void Clear();

protected:
    void HandleError(int result);
    int initializeClient_ctx();
    int SSLConnect();

    int m_nLastError;  // Windows Sockets code, 258 for a time-out, or a TLS library code
    bool m_bUseSSL;
    ssl_st* m_ssl;
    ssl_ctx_st* m_ctx;
    bio_st* m_sbio;
    bool m_bInitialized;
    bool m_bConnected;
    unsigned long m_timeout;  // milliseconds per wait
    std::intptr_t m_socket;   // all bits set while there is none
    corvane::detail::NetworkEvents* m_hEvent;
    std::deque<std::string> m_pendingSends;  // bytes not yet sent, oldest first
    std::size_t m_pendingOffset;             // bytes of the front buffer already sent

private:
    void CloseConnection();
    bool FlushPending();
};

#endif
