// A round 2 server that replays canned answers, for the client benchmark (bench/client/run.sh).
//
//     replay_server replay|keep|forward PORT UPSTREAM_URL LIFETIME_SECONDS
//
// replay: each request is keyed by its operation and its number of items; the first request of a
// key is forwarded to UPSTREAM_URL (the PHP server, plain http://HOST:PORT/PATH) and its answer
// kept, every later one is answered from memory, so the clients measure their own work and not
// the server's.
// keep: as replay, but an HTTP/1.1 request without "Connection: close" keeps its connection open
// for the next request, as a server with persistent connections does.
// forward: every request is forwarded, and the upstream's answer relayed.
//
// A connection that is not kept gets one answer; then the server shuts its side and reads what
// the client still sends (Corvane's default mode writes a zero byte after the body) until the
// client closes, so that the close never resets the connection under an answer the client is
// still reading. One thread serves every connection through epoll: each request costs a header
// scan, a lookup and one send, far less than any client's call, so the server is never what a
// row measures. The server exits by itself after LIFETIME_SECONDS.
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace {

enum class Mode { Replay, Keep, Forward };

struct Upstream {
    std::string host;
    std::string port;
    std::string path;
};

// One canned answer, written out once for each way the connection may end.
struct Answer {
    std::string kept;
    std::string closing;
};

struct Request {
    std::string_view body;
    std::string_view action;
    bool keep = false;
};

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.remove_suffix(1);
    }
    return text;
}

// The operation is the first "echo" followed by letters; the number of items, how often
// "varString" (round 2) or "price>" (the document/literal items' tags) occurs. The two tell
// every benchmark call apart.
std::pair<std::string, std::size_t> KeyOf(std::string_view body) {
    std::string operation;
    for (std::size_t at = body.find("echo"); at != std::string_view::npos;
         at = body.find("echo", at + 1)) {
        std::size_t end = at + 4;
        while (end < body.size() && std::isalpha(static_cast<unsigned char>(body[end]))) {
            ++end;
        }
        if (end > at + 4) {
            operation = body.substr(at, end - at);
            break;
        }
    }
    std::size_t items = 0;
    for (std::string_view const tag : {std::string_view("varString"), std::string_view("price>")}) {
        for (std::size_t at = body.find(tag); at != std::string_view::npos;
             at = body.find(tag, at + tag.size())) {
            ++items;
        }
    }
    return {operation, items};
}

bool SendAll(int fd, std::string_view data) {
    while (!data.empty()) {
        ssize_t const sent = ::send(fd, data.data(), data.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

// Posts the body to the upstream over HTTP/1.0 and reads its answer to the end; any status is
// kept with its body, as an error page is an answer too. False, with 502 and the reason, when no
// answer came.
bool Post(Upstream const& upstream, Request const& request, int& status, std::string& body) {
    status = 502;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(upstream.host.c_str(), upstream.port.c_str(), &hints, &found) != 0) {
        body = "upstream not found";
        return false;
    }
    int const fd = ::socket(found->ai_family, found->ai_socktype | SOCK_CLOEXEC, 0);
    bool const connected = fd >= 0 && ::connect(fd, found->ai_addr, found->ai_addrlen) == 0;
    ::freeaddrinfo(found);
    if (!connected) {
        if (fd >= 0) {
            ::close(fd);
        }
        body = "upstream unreachable";
        return false;
    }
    std::string message =
        "POST " + upstream.path + " HTTP/1.0\r\nHost: " + upstream.host + ":" + upstream.port +
        "\r\nContent-Type: text/xml; charset=utf-8\r\nSOAPAction: " + std::string(request.action) +
        "\r\nContent-Length: " + std::to_string(request.body.size()) + "\r\n\r\n" +
        std::string(request.body);
    std::string reply;
    if (SendAll(fd, message)) {
        char chunk[65536];
        for (ssize_t got; (got = ::recv(fd, chunk, sizeof(chunk), 0)) > 0;) {
            reply.append(chunk, static_cast<std::size_t>(got));
        }
    }
    ::close(fd);
    std::size_t const headEnd = reply.find("\r\n\r\n");
    std::size_t const space = reply.find(' ');
    if (headEnd == std::string::npos || space == std::string::npos || space > headEnd) {
        body = "upstream answer unreadable";
        return false;
    }
    status = std::atoi(reply.c_str() + space + 1);
    body = reply.substr(headEnd + 4);
    std::string_view head(reply.data(), headEnd);
    for (std::size_t at = head.find("\r\n"); at != std::string_view::npos;) {
        std::size_t const next = head.find("\r\n", at + 2);
        std::string_view const line = head.substr(at + 2, next - (at + 2));
        std::size_t const colon = line.find(':');
        if (colon != std::string_view::npos &&
            EqualsIgnoringCase(Trim(line.substr(0, colon)), "content-length")) {
            body.resize(std::min<std::size_t>(
                body.size(),
                std::strtoull(std::string(line.substr(colon + 1)).c_str(), nullptr, 10)));
        }
        at = next;
    }
    return true;
}

Answer MakeAnswer(int status, std::string const& payload) {
    // The reason stays "OK" whatever the status, as the clients read only the number.
    std::string const head = "HTTP/1.1 " + std::to_string(status) +
                             " OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
                             std::to_string(payload.size()) + "\r\n";
    return {head + "\r\n" + payload, head + "Connection: close\r\n\r\n" + payload};
}

struct Connection {
    int fd = -1;
    std::string input;
    std::size_t headEnd = std::string::npos;  // where the request's blank line starts, once seen
    std::size_t length = 0;                   // its Content-Length
    std::string action;
    bool keep = false;
    std::string output;
    std::size_t sent = 0;
    bool draining = false;  // answered and shut for writing: reading until the client closes
    bool watchingOut = false;
};

class Server {
public:
    Server(Mode mode, Upstream upstream) : mode_(mode), upstream_(std::move(upstream)) {}

    bool Listen(int port) {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        int const on = 1;
        ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
            ::listen(listener_, 64) != 0) {
            return false;
        }
        poll_ = ::epoll_create1(EPOLL_CLOEXEC);
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.ptr = nullptr;
        return ::epoll_ctl(poll_, EPOLL_CTL_ADD, listener_, &event) == 0;
    }

    void Run(std::chrono::steady_clock::time_point end) {
        epoll_event events[64];
        for (;;) {
            auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                return;
            }
            int const ready = ::epoll_wait(
                poll_, events, 64, static_cast<int>(std::min<long long>(left.count(), 1000)));
            for (int i = 0; i < ready; ++i) {
                auto* connection = static_cast<Connection*>(events[i].data.ptr);
                if (connection == nullptr) {
                    Accept();
                } else if (!Serve(*connection, events[i].events)) {
                    ::close(connection->fd);
                    connections_.erase(connection->fd);
                }
            }
        }
    }

private:
    void Accept() {
        for (int fd;
             (fd = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;) {
            int const on = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
            auto& connection = connections_[fd];
            connection = std::make_unique<Connection>();
            connection->fd = fd;
            epoll_event event{};
            event.events = EPOLLIN;
            event.data.ptr = connection.get();
            ::epoll_ctl(poll_, EPOLL_CTL_ADD, fd, &event);
        }
    }

    // False when the connection is done with.
    bool Serve(Connection& connection, std::uint32_t events) {
        if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0 && !Read(connection)) {
            return false;
        }
        return Write(connection);
    }

    bool Read(Connection& connection) {
        char chunk[65536];
        for (;;) {
            ssize_t const got = ::recv(connection.fd, chunk, sizeof(chunk), 0);
            if (got == 0) {
                return false;
            }
            if (got < 0) {
                return errno == EAGAIN || errno == EWOULDBLOCK;
            }
            if (!connection.draining) {
                connection.input.append(chunk, static_cast<std::size_t>(got));
            }
            if (static_cast<std::size_t>(got) < sizeof(chunk)) {
                break;
            }
        }
        // Requests are answered in order; bytes after a request that is not kept are drained.
        while (!connection.draining && TakeRequest(connection)) {
        }
        return true;
    }

    // Answers the first whole request of the input, if there is one.
    bool TakeRequest(Connection& connection) {
        std::string& input = connection.input;
        if (connection.headEnd == std::string::npos) {
            connection.headEnd = input.find("\r\n\r\n");
            if (connection.headEnd == std::string::npos) {
                return false;
            }
            ParseHead(connection);
        }
        std::size_t const bodyStart = connection.headEnd + 4;
        if (input.size() - bodyStart < connection.length) {
            return false;
        }
        Request const request{std::string_view(input).substr(bodyStart, connection.length),
                              connection.action, connection.keep};
        Answer const& answer = AnswerFor(request);
        connection.output += request.keep ? answer.kept : answer.closing;
        connection.draining = !request.keep;
        input.erase(0, bodyStart + connection.length);
        connection.headEnd = std::string::npos;
        return !connection.draining;
    }

    void ParseHead(Connection& connection) const {
        std::string_view const head(connection.input.data(), connection.headEnd);
        std::size_t const firstEnd = std::min(head.find("\r\n"), head.size());
        std::string_view const first = head.substr(0, firstEnd);
        connection.keep = mode_ == Mode::Keep && first.size() >= 8 &&
                          first.substr(first.size() - 8) == "HTTP/1.1";
        connection.length = 0;
        connection.action.clear();
        for (std::size_t at = firstEnd; at < head.size();) {
            std::size_t const next = std::min(head.find("\r\n", at + 2), head.size());
            std::string_view const line = head.substr(at + 2, next - (at + 2));
            at = next;
            std::size_t const colon = line.find(':');
            if (colon == std::string_view::npos) {
                continue;
            }
            std::string_view const name = Trim(line.substr(0, colon));
            std::string_view const value = Trim(line.substr(colon + 1));
            if (EqualsIgnoringCase(name, "content-length")) {
                connection.length = std::strtoull(std::string(value).c_str(), nullptr, 10);
            } else if (EqualsIgnoringCase(name, "soapaction")) {
                connection.action = std::string(value);
            } else if (EqualsIgnoringCase(name, "connection") &&
                       EqualsIgnoringCase(value, "close")) {
                connection.keep = false;
            }
        }
    }

    Answer const& AnswerFor(Request const& request) {
        auto key = KeyOf(request.body);
        auto found = answers_.find(key);
        if (mode_ == Mode::Forward || found == answers_.end()) {
            int status;
            std::string payload;
            if (!Post(upstream_, request, status, payload)) {
                failure_ = MakeAnswer(status, payload);  // not kept: the next call tries again
                return failure_;
            }
            found = answers_.insert_or_assign(std::move(key), MakeAnswer(status, payload)).first;
        }
        return found->second;
    }

    bool Write(Connection& connection) {
        while (connection.sent < connection.output.size()) {
            ssize_t const sent = ::send(connection.fd, connection.output.data() + connection.sent,
                                        connection.output.size() - connection.sent, MSG_NOSIGNAL);
            if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return connection.watchingOut || Watch(connection, true);
            }
            if (sent <= 0) {
                return false;
            }
            connection.sent += static_cast<std::size_t>(sent);
        }
        if (connection.sent > 0) {
            connection.output.clear();
            connection.sent = 0;
            if (connection.draining) {
                ::shutdown(connection.fd, SHUT_WR);
            }
            return !connection.watchingOut || Watch(connection, false);
        }
        return true;
    }

    bool Watch(Connection& connection, bool out) {
        connection.watchingOut = out;
        epoll_event event{};
        event.events = out ? EPOLLIN | EPOLLOUT : EPOLLIN;
        event.data.ptr = &connection;
        return ::epoll_ctl(poll_, EPOLL_CTL_MOD, connection.fd, &event) == 0;
    }

    Mode mode_;
    Upstream upstream_;
    int listener_ = -1;
    int poll_ = -1;
    std::map<int, std::unique_ptr<Connection>> connections_;
    std::map<std::pair<std::string, std::size_t>, Answer> answers_;
    Answer failure_;
};

int Usage() {
    std::fputs(
        "usage: replay_server replay|keep|forward PORT http://HOST:PORT/PATH LIFETIME_SECONDS\n",
        stderr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        return Usage();
    }
    std::string const modeName = argv[1];
    Mode mode;
    if (modeName == "replay") {
        mode = Mode::Replay;
    } else if (modeName == "keep") {
        mode = Mode::Keep;
    } else if (modeName == "forward") {
        mode = Mode::Forward;
    } else {
        return Usage();
    }
    std::string_view url = argv[3];
    if (url.substr(0, 7) != "http://") {
        return Usage();
    }
    url.remove_prefix(7);
    std::size_t const slash = std::min(url.find('/'), url.size());
    std::string_view const authority = url.substr(0, slash);
    std::size_t const colon = std::min(authority.rfind(':'), authority.size());
    Upstream upstream{std::string(authority.substr(0, colon)),
                      colon < authority.size() ? std::string(authority.substr(colon + 1)) : "80",
                      slash < url.size() ? std::string(url.substr(slash)) : "/"};

    Server server(mode, std::move(upstream));
    if (!server.Listen(std::atoi(argv[2]))) {
        std::perror("replay_server: listen");
        return 1;
    }
    server.Run(std::chrono::steady_clock::now() +
               std::chrono::milliseconds(static_cast<long long>(std::atof(argv[4]) * 1000)));
    return 0;
}
