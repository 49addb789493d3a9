// The peer plays the other end with the POSIX socket interface directly, outside the library's
// own platform layer.
#include "support/loopback.h"

#ifndef _WIN32
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#ifdef _WIN32
#include "win32/posix_sockets.h"  // last: it renames calls
#endif

namespace corvane::test {
namespace {

constexpr std::size_t kMaxRequestBytes = 64 * 1024 * 1024;
// A client that neither sends nor closes for this long is given up on: long enough for any
// test, short enough that a broken client cannot stall the suite.
constexpr int kIdleLimitMs = 10000;
// How often a waiting peer looks whether it is being stopped.
constexpr int kPollMs = 20;

int OpenListener(int receiveBuffer, int& port) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        throw std::runtime_error("loopback peer: no socket");
    }
    int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (receiveBuffer > 0) {
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof(receiveBuffer));
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(fd, 16) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(fd);
        throw std::runtime_error("loopback peer: no loopback port");
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
        auto const n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(n);
    }
}

// The Content-Length of a request's header block; 0 without one.
std::size_t ContentLength(const std::string& head) {
    std::string lower = head;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::size_t const at = lower.find("\r\ncontent-length:");
    return at == std::string::npos
               ? 0
               : static_cast<std::size_t>(std::strtoull(head.c_str() + at + 17, nullptr, 10));
}

bool RequestDone(const ServerScript& script, const std::string& data) {
    if (script.requestBytes > 0) {
        return data.size() >= script.requestBytes;
    }
    if (script.untilZeroByte) {
        return data.find('\0') != std::string::npos;
    }
    std::size_t const head = data.find("\r\n\r\n");
    return head != std::string::npos &&
           (data.size() - head - 4 >= ContentLength(data.substr(0, head + 4)) ||
            data.size() >= kMaxRequestBytes);
}

}  // namespace

LoopbackServer::LoopbackServer(ServerScript script) : script_(std::move(script)) {
    listener_ = OpenListener(script_.readChunk > 0 ? 4096 : 0, port_);
    thread_ = std::thread([this] { Serve(); });
}

LoopbackServer::~LoopbackServer() {
    Stop();
}

void LoopbackServer::Stop() {
    if (!thread_.joinable()) {
        return;
    }
    Locked([&] { stop_ = true; });
    wake_.notify_all();
    thread_.join();
    ::close(listener_);
}

std::string LoopbackServer::Request(int connection) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto const found = requests_.find(connection);
    return found != requests_.end() ? found->second : std::string();
}

std::vector<std::string> LoopbackServer::Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> all;
    for (const auto& [connection, request] : requests_) {
        all.push_back(request);
    }
    return all;
}

std::string LoopbackServer::Received() {
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait_for(lock, std::chrono::milliseconds(kIdleLimitMs),
                   [this] { return finished_ > 0 || stop_; });
    auto const first = requests_.find(1);
    return first != requests_.end() ? first->second : std::string();
}

void LoopbackServer::Serve() {
    for (int connection = 1;; ++connection) {
        while (!WaitReadable(listener_, kPollMs)) {
            if (Stopping()) {
                return;
            }
        }
        int const fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            return;
        }
        int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        Answer(connection, fd);
        Locked([&] { ++finished_; });
        wake_.notify_all();
    }
}

void LoopbackServer::Answer(int connection, int fd) {
    std::string const request = ReadRequest(fd);
    std::vector<std::string> pieces;
    std::size_t budget = std::string::npos;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        requests_[connection] = request;
        if (script_.resetAfter > 0 && request.size() >= script_.resetAfter) {
            linger reset{1, 0};
            ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
            ::close(fd);
            return;
        }
        if (script_.delayMs > 0 && wake_.wait_for(lock, std::chrono::milliseconds(script_.delayMs),
                                                  [this] { return stop_; })) {
            ::close(fd);
            return;
        }
        auto const numbered = answers_.find(connection);
        if (numbered != answers_.end()) {
            pieces = {numbered->second};
        } else if (!routes_.empty() || !root_.empty()) {
            pieces = {AnswerFor(request)};
        } else {
            pieces = script_.reply;
        }
        budget = script_.closeAfter > 0 ? script_.closeAfter : budget;
    }
    if (script_.silent) {
        // Stay connected without a word until the client gives up and closes.
        while (!Stopping() && !WaitReadable(fd, kPollMs)) {
        }
        ::close(fd);
        return;
    }
    for (std::size_t i = 0; i < pieces.size() && budget > 0; ++i) {
        if (i > 0 && script_.pauseMs > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(script_.pauseMs));
        }
        std::string const piece = pieces[i].substr(0, budget);
        budget -= piece.size();
        SendAll(fd, piece);
    }
    ::close(fd);
}

std::string LoopbackServer::AnswerFor(const std::string& request) const {
    std::size_t const first = request.find(' ');
    std::size_t const second = request.find(' ', first + 1);
    std::string const target = request.substr(first + 1, second - first - 1);
    int status = 404;
    std::string body = "not found";
    auto const route = routes_.find(target);
    std::string const path = target.substr(0, target.find('?'));
    std::ifstream file(root_ + path, std::ios::binary);
    if (route != routes_.end()) {
        status = route->second.first;
        body = route->second.second;
    } else if (!root_.empty() && path.find("..") == std::string::npos && file) {
        std::ostringstream content;
        content << file.rdbuf();
        status = 200;
        body = content.str();
    }
    return HttpAnswer("HTTP/1.0 " + std::to_string(status) + (status == 200 ? " OK" : " Error"),
                      "text/xml", body);
}

std::string LoopbackServer::ReadRequest(int fd) const {
    std::string data;
    std::vector<char> buffer(script_.readChunk > 0 ? script_.readChunk : 65536);
    while (!RequestDone(script_, data) &&
           (script_.resetAfter == 0 || data.size() < script_.resetAfter)) {
        int waited = 0;
        while (!WaitReadable(fd, kPollMs)) {
            waited += kPollMs;
            if (waited >= kIdleLimitMs || Stopping()) {
                return data;
            }
        }
        auto const n = ::recv(fd, buffer.data(), buffer.size(), 0);
        if (n <= 0) {
            return data;
        }
        data.append(buffer.data(), static_cast<std::size_t>(n));
        if (script_.readPauseMs > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(script_.readPauseMs));
        }
    }
    return data;
}

std::string HttpAnswer(const std::string& statusLine, const std::string& contentType,
                       const std::string& body) {
    std::string answer = statusLine + "\r\n";
    if (!contentType.empty()) {
        answer += "Content-Type: " + contentType + "\r\n";
    }
    return answer + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

int UnusedPort() {
    int port = 0;
    ::close(OpenListener(0, port));
    return port;
}

void ShrinkSendBuffer(std::intptr_t socket) {
    int size = 4096;
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
}

}  // namespace corvane::test
