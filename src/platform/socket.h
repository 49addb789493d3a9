// Non-blocking IPv4 TCP sockets, readiness waits and host resolution for the transport.
// Error results are Windows Sockets numbers on every platform, so callers compare one set
// of codes.
#ifndef CORVANE_PLATFORM_SOCKET_H
#define CORVANE_PLATFORM_SOCKET_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct sockaddr_in;
struct hostent;

namespace corvane::platform {

// A descriptor on POSIX, a SOCKET on Windows; invalid is all bits set.
using SocketHandle = std::intptr_t;
constexpr SocketHandle kInvalidSocket = -1;

constexpr int kErrWouldBlock = 10035;
constexpr int kErrAddrNotAvail = 10049;
constexpr int kErrNoBuffers = 10055;
constexpr int kErrIsConnected = 10056;
constexpr int kErrTimeout = 258;

// The Windows Sockets number of the calling thread's last failed system call (0 when none).
int LastSocketError();
// Forgets the last error, so that a library call that fails without a system error (an end of
// stream) is not taken for the failure of an earlier call.
void ClearSocketError();
// Maps a POSIX errno value onto its Windows Sockets number.
int MapErrno(int error);

SocketHandle OpenStreamSocket();  // non-blocking TCP/IPv4; kInvalidSocket on failure
void CloseSocket(SocketHandle socket);
int ConnectSocket(SocketHandle socket, const sockaddr_in* address);          // 0, or -1
long SendSocket(SocketHandle socket, const char* data, std::size_t length);  // never SIGPIPE
long RecvSocket(SocketHandle socket, char* buffer, std::size_t size);
int PendingSocketError(SocketHandle socket);  // the completed connect's error, 0 if none
// Sends small writes at once instead of waiting to join them (Nagle's algorithm off).
void SetNoDelay(SocketHandle socket);

// What one wait on a socket found.
struct Readiness {
    bool timedOut = false;
    bool writable = false;
    bool readable = false;  // data can be read
    bool closed = false;    // the peer has closed (or reset) the connection
    int closeError = 0;     // non-zero when the connection was reset or failed
    bool failed = false;    // the wait itself failed; LastSocketError() tells why
    // Set where the wait can tell that no error is pending on the socket: a connect that it
    // reports writable has then succeeded, without asking PendingSocketError.
    bool noErrorPending = false;
    // Where the wait found the peer already closed and could count them: the bytes left to
    // read before the close (0 with `closed`; -1 when not known). Nothing can arrive after a
    // close, so once that many have been received a receive finds the end.
    long bytesBeforeClose = -1;
};

// Waits up to timeoutMs (0xFFFFFFFF waits forever) for what is asked: the socket becoming
// writable; data to read or the peer's close (told apart by peeking, so a close is reported
// only once every byte before it has been read); or only the peer's close, for a caller that
// has not yet read the data it was told about.
Readiness WaitSocket(SocketHandle socket, bool forWrite, bool forRead, bool forClose,
                     unsigned long timeoutMs);

// An owned IPv4 socket address.
class Ipv4Address {
public:
    Ipv4Address(const unsigned char (&address)[4], int port);
    ~Ipv4Address();
    Ipv4Address(const Ipv4Address&) = delete;
    Ipv4Address& operator=(const Ipv4Address&) = delete;
    sockaddr_in* Get() { return address_; }

private:
    sockaddr_in* address_;
};

// The parts of a system host record, as plain values.
struct HostRecord {
    std::string name;
    std::vector<std::string> aliases;
    short addressType = 0;
    short addressLength = 0;
    std::vector<std::string> addresses;  // addressLength bytes each
};

HostRecord ReadHostent(const hostent* host);

// Resolves an IPv4 host name (dotted quads included) and hands the result, as a system host
// record that lives only during the call, to `use`. False when the name does not resolve.
bool ResolveHost(const std::string& name, const std::function<void(const hostent*)>& use);

}  // namespace corvane::platform

#endif
