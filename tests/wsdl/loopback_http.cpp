#include "wsdl/loopback_http.h"

#ifndef _WIN32
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <fstream>
#include <sstream>
#include <stdexcept>

#ifdef _WIN32
#include "win32/posix_sockets.h"  // last: it renames calls
#endif

namespace corvane::test {

LoopbackHttpServer::LoopbackHttpServer(std::string rootDirectory)
    : m_root(std::move(rootDirectory)) {
    m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (m_listener < 0) {
        throw std::runtime_error("socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    if (::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener, 16) != 0) {
        ::close(m_listener);
        throw std::runtime_error("bind");
    }
    socklen_t length = sizeof address;
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { Run(); });
}

LoopbackHttpServer::~LoopbackHttpServer() {
    m_stop = true;
    m_thread.join();
    ::close(m_listener);
}

void LoopbackHttpServer::Set(const std::string& target, Response response) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_routes[target] = std::move(response);
}

std::vector<std::string> LoopbackHttpServer::Requests() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

void LoopbackHttpServer::Run() {
    while (!m_stop) {
        pollfd waiting{m_listener, POLLIN, 0};
        if (::poll(&waiting, 1, 50) <= 0) {
            continue;
        }
        int client = ::accept(m_listener, nullptr, nullptr);
        if (client >= 0) {
            Serve(client);
            ::close(client);
        }
    }
}

LoopbackHttpServer::Response LoopbackHttpServer::Lookup(const std::string& target) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_routes.find(target);
        if (it != m_routes.end()) {
            return it->second;
        }
    }
    Response response;
    std::string path = target.substr(0, target.find('?'));
    std::ifstream file(m_root + path, std::ios::binary);
    if (m_root.empty() || path.find("..") != std::string::npos || !file) {
        response.status = 404;
        response.body = "not found";
        return response;
    }
    std::ostringstream content;
    content << file.rdbuf();
    response.body = content.str();
    return response;
}

void LoopbackHttpServer::Serve(int client) {
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos) {
        pollfd waiting{client, POLLIN, 0};
        if (::poll(&waiting, 1, 5000) <= 0) {
            return;
        }
        ssize_t got = ::recv(client, buffer, sizeof buffer, 0);
        if (got <= 0) {
            return;
        }
        head.append(buffer, static_cast<std::size_t>(got));
    }
    head.erase(head.find("\r\n\r\n"));
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.push_back(head);
    }
    std::size_t first = head.find(' ');
    std::size_t second = head.find(' ', first + 1);
    Response response = Lookup(head.substr(first + 1, second - first - 1));
    std::string reply =
        "HTTP/1.0 " + std::to_string(response.status) +
        (response.status == 200 ? " OK" : " Error") +
        "\r\nContent-Type: text/xml\r\nContent-Length: " + std::to_string(response.body.size()) +
        "\r\n\r\n" + response.body;
    std::size_t sent = 0;
    while (sent < reply.size()) {
        ssize_t n = ::send(client, reply.data() + sent, reply.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(n);
    }
}

}  // namespace corvane::test
