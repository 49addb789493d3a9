// Windows Sockets 2. Every socket and every host look-up holds one WSAStartup reference
// (version 2.0) for its lifetime, released with WSACleanup, so the library needs no global
// set-up and never calls WSACleanup from a DLL's unload.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <chrono>
#include <cstring>

#include "platform/socket.h"

namespace corvane::platform {
namespace {

bool StartSockets() {
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 0), &data) == 0;
}

SOCKET Native(SocketHandle socket) {
    return static_cast<SOCKET>(socket);
}

// Level-triggered state of the socket now, as a zero-time-out select and a peek tell it.
// Network events only wake the wait; the answer always comes from here, so an event consumed
// by an earlier wait (or never re-recorded) cannot hide a condition that holds.
Readiness CurrentState(SOCKET socket, bool forWrite, bool forRead, bool forClose) {
    Readiness result;
    fd_set writable;
    fd_set failed;
    fd_set readable;
    FD_ZERO(&writable);
    FD_ZERO(&failed);
    FD_ZERO(&readable);
    if (forWrite) {
        FD_SET(socket, &writable);
        FD_SET(socket, &failed);  // a non-blocking connect that failed shows here only
    }
    const bool peek = forRead || forClose;
    if (peek) {
        FD_SET(socket, &readable);
    }
    timeval zero{0, 0};
    const int rc = ::select(0, peek ? &readable : nullptr, forWrite ? &writable : nullptr,
                            forWrite ? &failed : nullptr, &zero);
    if (rc == SOCKET_ERROR) {
        result.failed = true;
        return result;
    }
    if (forWrite && (FD_ISSET(socket, &writable) || FD_ISSET(socket, &failed))) {
        result.writable = true;
    }
    if (peek && FD_ISSET(socket, &readable)) {
        char probe;
        const int n = ::recv(socket, &probe, 1, MSG_PEEK);
        if (n > 0) {
            // Unread data hides a close from the peek; the close event tells it then.
            result.readable = forRead;
        } else if (n == 0) {
            result.closed = true;
        } else if (::WSAGetLastError() != WSAEWOULDBLOCK) {
            result.closed = true;
            result.closeError = ::WSAGetLastError();
        }
    }
    return result;
}

}  // namespace

int LastSocketError() {
    return ::WSAGetLastError();
}

void ClearSocketError() {
    ::WSASetLastError(0);
}

SocketHandle OpenStreamSocket() {
    if (!StartSockets()) {
        return kInvalidSocket;
    }
    SOCKET s = ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                            WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    u_long nonBlocking = 1;
    if (s != INVALID_SOCKET && ::ioctlsocket(s, FIONBIO, &nonBlocking) != 0) {
        const int error = ::WSAGetLastError();
        ::closesocket(s);
        ::WSASetLastError(error);
        s = INVALID_SOCKET;
    }
    if (s == INVALID_SOCKET) {
        const int error = ::WSAGetLastError();
        ::WSACleanup();
        ::WSASetLastError(error);
        return kInvalidSocket;
    }
    return static_cast<SocketHandle>(s);
}

void CloseSocket(SocketHandle socket) {
    if (socket != kInvalidSocket) {
        ::closesocket(Native(socket));
        ::WSACleanup();
    }
}

int ConnectSocket(SocketHandle socket, const sockaddr_in* address) {
    const int rc = ::connect(Native(socket), reinterpret_cast<const sockaddr*>(address),
                             static_cast<int>(sizeof(sockaddr_in)));
    return rc == SOCKET_ERROR ? -1 : 0;
}

long SendSocket(SocketHandle socket, const char* data, std::size_t length) {
    // send takes an int: a larger buffer goes out in part, as a partial send may anyway.
    const int chunk = length > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(length);
    const int n = ::send(Native(socket), data, chunk, 0);
    return n == SOCKET_ERROR ? -1L : static_cast<long>(n);
}

long RecvSocket(SocketHandle socket, char* buffer, std::size_t size) {
    const int chunk = size > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(size);
    const int n = ::recv(Native(socket), buffer, chunk, 0);
    return n == SOCKET_ERROR ? -1L : static_cast<long>(n);
}

int PendingSocketError(SocketHandle socket) {
    int error = 0;
    int length = static_cast<int>(sizeof(error));
    if (::getsockopt(Native(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error),
                     &length) != 0) {
        return LastSocketError();
    }
    return error;
}

Readiness WaitSocket(SocketHandle socket, bool forWrite, bool forRead, bool forClose,
                     unsigned long timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const SOCKET s = Native(socket);
    const bool forever = timeoutMs == 0xFFFFFFFFUL;
    const auto deadline = Clock::now() + std::chrono::milliseconds(forever ? 0 : timeoutMs);
    long mask = 0;
    if (forWrite) {
        mask |= FD_CONNECT | FD_WRITE;
    }
    if (forRead) {
        mask |= FD_READ | FD_CLOSE;
    }
    if (forClose) {
        mask |= FD_CLOSE;
    }
    Readiness result;
    WSAEVENT event = ::WSACreateEvent();
    if (event == WSA_INVALID_EVENT) {
        result.failed = true;
        return result;
    }
    if (::WSAEventSelect(s, event, mask) == SOCKET_ERROR) {
        const int error = ::WSAGetLastError();
        ::WSACloseEvent(event);
        ::WSASetLastError(error);
        result.failed = true;
        return result;
    }
    for (;;) {
        // Checked before every wait, so a condition that already holds never waits for an
        // event that was recorded (and consumed) before this call.
        result = CurrentState(s, forWrite, forRead, forClose);
        if (result.failed || result.writable || result.readable || result.closed) {
            break;
        }
        DWORD waitMs = WSA_INFINITE;
        if (!forever) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now())
                    .count();
            waitMs = left <= 0 ? 0 : static_cast<DWORD>(left);
        }
        const DWORD rc = ::WSAWaitForMultipleEvents(1, &event, FALSE, waitMs, FALSE);
        if (rc == WSA_WAIT_FAILED) {
            result.failed = true;
            break;
        }
        if (rc == WSA_WAIT_TIMEOUT) {
            if (waitMs == 0) {
                result.timedOut = true;
                break;
            }
            continue;  // woken early by the clock's rounding: wait out the rest
        }
        WSANETWORKEVENTS events;
        if (::WSAEnumNetworkEvents(s, event, &events) == SOCKET_ERROR) {
            result.failed = true;
            break;
        }
        // A close is taken from the event only when no read is asked for: a reader learns of
        // it from the peek above, after every byte before it has been read.
        if (forClose && !forRead && (events.lNetworkEvents & FD_CLOSE) != 0) {
            result.closed = true;
            result.closeError = events.iErrorCode[FD_CLOSE_BIT];
            break;
        }
    }
    const int error = ::WSAGetLastError();
    // Detach the event before closing it; the socket stays non-blocking.
    ::WSAEventSelect(s, nullptr, 0);
    ::WSACloseEvent(event);
    ::WSASetLastError(error);
    return result;
}

Ipv4Address::Ipv4Address(const unsigned char (&address)[4], int port) : address_(new sockaddr_in) {
    std::memset(address_, 0, sizeof(*address_));
    address_->sin_family = AF_INET;
    address_->sin_port = ::htons(static_cast<u_short>(port));
    std::memcpy(&address_->sin_addr, address, 4);
}

Ipv4Address::~Ipv4Address() {
    delete address_;
}

HostRecord ReadHostent(const hostent* host) {
    HostRecord record;
    if (host == nullptr) {
        return record;
    }
    if (host->h_name != nullptr) {
        record.name = host->h_name;
    }
    for (char** alias = host->h_aliases; alias != nullptr && *alias != nullptr; ++alias) {
        record.aliases.emplace_back(*alias);
    }
    record.addressType = host->h_addrtype;
    record.addressLength = host->h_length;
    const std::size_t length = host->h_length > 0 ? static_cast<std::size_t>(host->h_length) : 0;
    for (char** address = host->h_addr_list; address != nullptr && *address != nullptr; ++address) {
        record.addresses.emplace_back(*address, length);
    }
    return record;
}

bool ResolveHost(const std::string& name, const std::function<void(const hostent*)>& use) {
    if (name.empty() || name.find('\0') != std::string::npos || !StartSockets()) {
        return false;
    }
    // gethostbyname's record lives in this thread's Windows Sockets storage until the next
    // look-up on the thread, which is long enough for `use`.
    const hostent* host = ::gethostbyname(name.c_str());
    const bool found = host != nullptr && host->h_addrtype == AF_INET &&
                       host->h_length == static_cast<short>(sizeof(in_addr)) &&
                       host->h_addr_list != nullptr && host->h_addr_list[0] != nullptr;
    if (found) {
        use(host);
    }
    ::WSACleanup();
    return found;
}

}  // namespace corvane::platform
