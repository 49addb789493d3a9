// A listening socket on 127.0.0.1 with a thread that accepts connections one at a time and hands
// each to the benchmark's handler, which serves it and returns; the connection is then closed.
// The benchmarks' peers are built on it so that only their answers differ.
#ifndef CORVANE_BENCH_LOOPBACK_LISTENER_H
#define CORVANE_BENCH_LOOPBACK_LISTENER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

class LoopbackListener {
public:
    explicit LoopbackListener(std::function<void(int fd)> serve) : serve_(std::move(serve)) {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        ::listen(listener_, 64);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Accept(); });
    }
    ~LoopbackListener() {
        stop_ = true;
        thread_.join();
        ::close(listener_);
    }
    LoopbackListener(LoopbackListener const&) = delete;
    LoopbackListener& operator=(LoopbackListener const&) = delete;

    int Port() const { return port_; }

private:
    void Accept() {
        while (!stop_) {
            pollfd entry{listener_, POLLIN, 0};
            if (::poll(&entry, 1, 50) <= 0) {
                continue;
            }
            int const fd = ::accept(listener_, nullptr, nullptr);
            if (fd >= 0) {
                serve_(fd);
                ::close(fd);
            }
        }
    }

    std::function<void(int)> serve_;
    int listener_;
    int port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

#endif
