#include "platform/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>

namespace corvane::platform {

int LastSocketError() {
    return MapErrno(errno);
}

void ClearSocketError() {
    errno = 0;
}

SocketHandle OpenStreamSocket() {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    return fd < 0 ? kInvalidSocket : fd;
}

void CloseSocket(SocketHandle socket) {
    if (socket != kInvalidSocket) {
        ::close(static_cast<int>(socket));
    }
}

int ConnectSocket(SocketHandle socket, const sockaddr_in* address) {
    int rc;
    do {
        rc = ::connect(static_cast<int>(socket), reinterpret_cast<const sockaddr*>(address),
                       sizeof(sockaddr_in));
    } while (rc < 0 && errno == EINTR);
    return rc < 0 ? -1 : 0;
}

long SendSocket(SocketHandle socket, const char* data, std::size_t length) {
    ssize_t n;
    do {
        n = ::send(static_cast<int>(socket), data, length, MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    return static_cast<long>(n);
}

long RecvSocket(SocketHandle socket, char* buffer, std::size_t size) {
    ssize_t n;
    do {
        n = ::recv(static_cast<int>(socket), buffer, size, 0);
    } while (n < 0 && errno == EINTR);
    return static_cast<long>(n);
}

int PendingSocketError(SocketHandle socket) {
    int error = 0;
    socklen_t length = sizeof(error);
    if (::getsockopt(static_cast<int>(socket), SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        return LastSocketError();
    }
    return MapErrno(error);
}

void SetNoDelay(SocketHandle socket) {
    int on = 1;
    ::setsockopt(static_cast<int>(socket), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

Readiness WaitSocket(SocketHandle socket, bool forWrite, bool forRead, bool forClose,
                     unsigned long timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const bool forever = timeoutMs == 0xFFFFFFFFUL;
    const auto deadline = Clock::now() + std::chrono::milliseconds(forever ? 0 : timeoutMs);
    Readiness result;
    for (;;) {
        int waitMs = -1;
        if (!forever) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now())
                    .count();
            waitMs = left <= 0 ? 0 : (left > INT_MAX ? INT_MAX : static_cast<int>(left));
        }
        pollfd entry{};
        entry.fd = static_cast<int>(socket);
        // The peer's close is asked for with every read, so that plain data needs no peek to be
        // told from it.
        entry.events = static_cast<short>((forWrite ? POLLOUT : 0) | (forRead ? POLLIN : 0) |
                                          (forRead || forClose ? POLLRDHUP : 0));
        int rc = ::poll(&entry, 1, waitMs);
        if (rc < 0) {
            if (errno == EINTR) {
                continue;
            }
            result.failed = true;
            return result;
        }
        if (rc == 0) {
            if (waitMs == 0) {
                result.timedOut = true;
                return result;
            }
            continue;  // woken early by the clock's rounding: wait out the rest
        }
        const short got = entry.revents;
        const bool trouble = (got & (POLLERR | POLLHUP)) != 0;
        if (forWrite && ((got & POLLOUT) != 0 || trouble)) {
            result.writable = true;
            result.noErrorPending = !trouble;
        }
        const bool readNews = forRead && ((got & (POLLIN | POLLRDHUP)) != 0 || trouble);
        int queued = 0;
        if (readNews && !trouble && (got & POLLRDHUP) == 0) {
            result.readable = true;  // data, and the peer has not closed: nothing to tell apart
        } else if (readNews && !trouble && ::ioctl(entry.fd, FIONREAD, &queued) == 0) {
            // The peer has closed: what is still queued is all there is.
            result.readable = queued > 0;
            result.closed = queued <= 0;
            result.bytesBeforeClose = queued > 0 ? queued : 0;
        } else if (readNews) {
            // A reset or an error; data received before it can still be read.
            char probe;
            ssize_t n = ::recv(entry.fd, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
            if (n > 0) {
                result.readable = true;
            } else if (n == 0) {
                result.closed = true;
                result.bytesBeforeClose = 0;
            } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                result.closed = true;
                result.closeError = LastSocketError();
            }
        } else if (forClose && (got & (POLLRDHUP | POLLHUP | POLLERR))) {
            result.closed = true;
            result.closeError = PendingSocketError(socket);
        }
        if (result.writable || result.readable || result.closed) {
            return result;
        }
        // A wake-up without news (a spurious readiness): keep waiting until the deadline.
    }
}

Ipv4Address::Ipv4Address(const unsigned char (&address)[4], int port) : address_(new sockaddr_in) {
    std::memset(address_, 0, sizeof(*address_));
    address_->sin_family = AF_INET;
    address_->sin_port = htons(static_cast<uint16_t>(port));
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
    record.addressType = static_cast<short>(host->h_addrtype);
    record.addressLength = static_cast<short>(host->h_length);
    const std::size_t length = host->h_length > 0 ? static_cast<std::size_t>(host->h_length) : 0;
    for (char** address = host->h_addr_list; address != nullptr && *address != nullptr; ++address) {
        record.addresses.emplace_back(*address, length);
    }
    return record;
}

bool ResolveHost(const std::string& name, const std::function<void(const hostent*)>& use) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_CANONNAME;
    addrinfo* found = nullptr;
    if (name.empty() || name.find('\0') != std::string::npos ||
        ::getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) {
        return false;
    }
    // The record keeps getaddrinfo's order, without the duplicates of other socket types.
    std::vector<in_addr> addresses;
    for (addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family != AF_INET || entry->ai_addr == nullptr) {
            continue;
        }
        in_addr address = reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr;
        bool seen = false;
        for (const in_addr& known : addresses) {
            seen = seen || known.s_addr == address.s_addr;
        }
        if (!seen) {
            addresses.push_back(address);
        }
    }
    std::string official = found->ai_canonname != nullptr ? found->ai_canonname : name;
    ::freeaddrinfo(found);
    if (addresses.empty()) {
        return false;
    }
    std::vector<char*> list;
    for (in_addr& address : addresses) {
        list.push_back(reinterpret_cast<char*>(&address));
    }
    list.push_back(nullptr);
    char* noAliases[] = {nullptr};
    hostent host{};
    host.h_name = official.data();
    host.h_aliases = noAliases;
    host.h_addrtype = AF_INET;
    host.h_length = sizeof(in_addr);
    host.h_addr_list = list.data();
    use(&host);
    return true;
}

}  // namespace corvane::platform
