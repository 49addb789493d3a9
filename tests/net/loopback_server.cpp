// Test servers use the POSIX socket interface directly: they play the peer, outside the
// library's own platform layer.
#include "net/loopback_server.h"

#ifndef _WIN32
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <chrono>
#include <stdexcept>

#ifdef _WIN32
#include "win32/posix_sockets.h"  // last: it renames calls
#endif

namespace corvane::test {
namespace {

// Long enough for any test, short enough that a broken client cannot stall the suite.
constexpr int kIdleLimitMs = 5000;

int OpenListener(int receiveBuffer, int& port) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        throw std::runtime_error("socket");
    }
    int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (receiveBuffer > 0) {
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof(receiveBuffer));
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof(address);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(fd, 4) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(fd);
        throw std::runtime_error("bind");
    }
    port = ntohs(address.sin_port);
    return fd;
}

bool WaitReadable(int fd, int timeoutMs) {
    pollfd entry{fd, POLLIN, 0};
    return ::poll(&entry, 1, timeoutMs) > 0;
}

void SendAll(int fd, const std::string& data) {
    std::size_t sent = 0;
    while (sent < data.size()) {
        ssize_t n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(n);
    }
}

}  // namespace

LoopbackServer::LoopbackServer(ServerScript script) : script_(std::move(script)) {
    listener_ = OpenListener(script_.readChunk > 0 ? 4096 : 0, port_);
    thread_ = std::thread([this] { Serve(); });
}

LoopbackServer::~LoopbackServer() {
    stop_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
    ::close(listener_);
}

const std::string& LoopbackServer::Received() {
    if (thread_.joinable()) {
        thread_.join();
    }
    return received_;
}

void LoopbackServer::Serve() {
    int waited = 0;
    while (!WaitReadable(listener_, 50)) {
        waited += 50;
        if (stop_ || waited > kIdleLimitMs) {
            return;
        }
    }
    int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        return;
    }
    int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));

    std::vector<char> buffer(script_.readChunk > 0 ? script_.readChunk : 65536);
    auto requestDone = [this] {
        if (script_.requestBytes > 0) {
            return received_.size() >= script_.requestBytes;
        }
        return received_.find('\0') != std::string::npos;
    };
    while (!requestDone() && !stop_) {
        if (!WaitReadable(fd, kIdleLimitMs)) {
            break;
        }
        ssize_t n = ::recv(fd, buffer.data(), buffer.size(), 0);
        if (n <= 0) {
            break;
        }
        received_.append(buffer.data(), static_cast<std::size_t>(n));
        if (script_.resetAfter > 0 && received_.size() >= script_.resetAfter) {
            linger reset{1, 0};
            ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
            ::close(fd);
            return;
        }
        if (script_.readPauseMs > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(script_.readPauseMs));
        }
    }
    if (script_.silent) {
        // Stay connected without a word until the client gives up and closes.
        while (!stop_ && WaitReadable(fd, 50) == false) {
        }
        ::close(fd);
        return;
    }
    for (std::size_t i = 0; i < script_.reply.size(); ++i) {
        if (i > 0 && script_.pauseMs > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(script_.pauseMs));
        }
        SendAll(fd, script_.reply[i]);
    }
    ::close(fd);
}

void ShrinkSendBuffer(std::intptr_t socket) {
    int size = 4096;
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
}

int UnusedPort() {
    int port = 0;
    int fd = OpenListener(0, port);
    ::close(fd);
    return port;
}

}  // namespace corvane::test
