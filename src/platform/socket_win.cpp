// Windows Sockets 2. Every socket and every host look-up holds one WSAStartup reference
// (version 2.0) for its lifetime, released with WSACleanup, so the library needs no global
// set-up and never calls WSACleanup from a DLL's unload.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <chrono>
#include <cstring>
#include <mutex>
#include <unordered_map>

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

constexpr long kAllEvents = FD_CONNECT | FD_READ | FD_WRITE | FD_CLOSE;

// Each socket has one event, selected for every network event from its creation on. The
// peer's close is remembered once seen: a close event is recorded only once, and a caller
// that has unread data cannot learn of it from the socket's state.
struct SocketEvents {
    WSAEVENT event = WSA_INVALID_EVENT;
    bool closed = false;
    int closeError = 0;
};

std::mutex& EventsMutex() {
    static std::mutex mutex;
    return mutex;
}

std::unordered_map<SOCKET, SocketEvents>& EventsBySocket() {
    static std::unordered_map<SOCKET, SocketEvents> events;
    return events;
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
    WSAEVENT event = s == INVALID_SOCKET ? WSA_INVALID_EVENT : ::WSACreateEvent();
    // Selecting network events also makes the socket non-blocking.
    if (event == WSA_INVALID_EVENT || ::WSAEventSelect(s, event, kAllEvents) != 0) {
        const int error = ::WSAGetLastError();
        if (event != WSA_INVALID_EVENT) {
            ::WSACloseEvent(event);
        }
        if (s != INVALID_SOCKET) {
            ::closesocket(s);
        }
        ::WSACleanup();
        ::WSASetLastError(error);
        return kInvalidSocket;
    }
    {
        std::lock_guard<std::mutex> lock(EventsMutex());
        EventsBySocket()[s].event = event;
    }
    return static_cast<SocketHandle>(s);
}

void CloseSocket(SocketHandle socket) {
    if (socket == kInvalidSocket) {
        return;
    }
    WSAEVENT event = WSA_INVALID_EVENT;
    {
        std::lock_guard<std::mutex> lock(EventsMutex());
        auto found = EventsBySocket().find(Native(socket));
        if (found != EventsBySocket().end()) {
            event = found->second.event;
            EventsBySocket().erase(found);
        }
    }
    ::closesocket(Native(socket));
    if (event != WSA_INVALID_EVENT) {
        ::WSACloseEvent(event);
    }
    ::WSACleanup();
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

void SetNoDelay(SocketHandle socket) {
    BOOL on = TRUE;
    ::setsockopt(Native(socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on),
                 sizeof(on));
}

Readiness WaitSocket(SocketHandle socket, bool forWrite, bool forRead, bool forClose,
                     unsigned long timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const SOCKET s = Native(socket);
    const bool forever = timeoutMs == 0xFFFFFFFFUL;
    const auto deadline = Clock::now() + std::chrono::milliseconds(forever ? 0 : timeoutMs);
    Readiness result;
    WSAEVENT event = WSA_INVALID_EVENT;
    {
        std::lock_guard<std::mutex> lock(EventsMutex());
        auto found = EventsBySocket().find(s);
        if (found != EventsBySocket().end()) {
            event = found->second.event;
        }
    }
    if (event == WSA_INVALID_EVENT) {
        ::WSASetLastError(WSAENOTSOCK);
        result.failed = true;
        return result;
    }
    for (;;) {
        // Takes in what happened (which resets the event), then reads the socket's state, so
        // a condition that already holds never waits for an event recorded before the call.
        WSANETWORKEVENTS events;
        if (::WSAEnumNetworkEvents(s, event, &events) == SOCKET_ERROR) {
            result.failed = true;
            return result;
        }
        bool closed = false;
        int closeError = 0;
        {
            std::lock_guard<std::mutex> lock(EventsMutex());
            SocketEvents& state = EventsBySocket()[s];
            if ((events.lNetworkEvents & FD_CLOSE) != 0 && !state.closed) {
                state.closed = true;
                state.closeError = events.iErrorCode[FD_CLOSE_BIT];
            }
            closed = state.closed;
            closeError = state.closeError;
        }
        result = CurrentState(s, forWrite, forRead, forClose);
        if (result.failed || result.writable || result.readable || result.closed) {
            return result;
        }
        // A close is taken from the event only when no read is asked for: a reader learns of
        // it from the peek, after every byte before it has been read.
        if (forClose && !forRead && closed) {
            result.closed = true;
            result.closeError = closeError;
            return result;
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
            return result;
        }
        if (rc == WSA_WAIT_TIMEOUT && waitMs == 0) {
            result.timedOut = true;
            return result;
        }
        // An event, or woken early by the clock's rounding: look again.
    }
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
