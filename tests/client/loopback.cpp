// The stub plays the peer with the POSIX socket interface directly, outside the library's own
// platform layer.
#include "client/loopback.h"

#ifndef _WIN32
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <vector>

#ifdef _WIN32
#include "win32/posix_sockets.h"  // last: it renames calls
#endif

namespace corvane::test {

namespace fs = std::filesystem;

std::string TestsDir() {
    return fs::path(CORVANE_TEST_DATA).parent_path().string();
}

std::string ReadFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void WriteFile(std::string const& path, std::string const& bytes) {
    std::string const temp = path + ".tmp";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << bytes;
    }
    fs::rename(temp, path);
}

WMString Widen(std::string const& text) {
    WMString wide;
    for (char c : text) {
        wide.push_back(static_cast<unsigned char>(c));
    }
    return wide;
}

std::string Narrow(WMString const& text) {
    std::string narrow;
    for (WMChar c : text) {
        narrow.push_back(static_cast<char>(c));
    }
    return narrow;
}

std::string HttpAnswer(std::string const& statusLine, std::string const& contentType,
                       std::string const& body) {
    std::string answer = statusLine + "\r\n";
    if (!contentType.empty()) {
        answer += "Content-Type: " + contentType + "\r\n";
    }
    answer += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    return answer;
}

TempDir::TempDir() {
    std::random_device random;
    path_ = (fs::temp_directory_path() /
             ("corvane-client-" + std::to_string(random()) + "-" + std::to_string(random())))
                .string();
    fs::create_directories(path_);
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

bool RunShell(std::string const& command, std::string* output) {
    TempDir dir;
    std::string const out = dir.File("out");
    int const status = std::system((command + " > '" + out + "'").c_str());
    if (output != nullptr) {
        *output = ReadFile(out);
    }
    return status == 0;
}

namespace {

constexpr std::size_t kMaxRequestBytes = 64 * 1024 * 1024;
// A client that neither sends nor closes for this long is given up on.
constexpr int kIdleLimitMs = 10000;
// How often a waiting stub looks whether it is being stopped.
constexpr int kPollMs = 20;

bool WaitReadable(int fd, int timeoutMs) {
    pollfd entry{fd, POLLIN, 0};
    return ::poll(&entry, 1, timeoutMs) > 0;
}

void SendAll(int fd, std::string const& data) {
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
std::size_t ContentLength(std::string const& head) {
    std::istringstream lines(head);
    std::string line;
    std::getline(lines, line);  // the request line
    while (std::getline(lines, line)) {
        auto const colon = line.find(':');
        std::string name = line.substr(0, colon);
        name.erase(std::remove_if(name.begin(), name.end(),
                                  [](unsigned char c) { return std::isspace(c) != 0; }),
                   name.end());
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (colon != std::string::npos && name == "content-length") {
            return static_cast<std::size_t>(std::strtoull(line.c_str() + colon + 1, nullptr, 10));
        }
    }
    return 0;
}

}  // namespace

StubServer::~StubServer() {
    Stop();
}

void StubServer::SetAnswer(std::string const& bytes) {
    answer_ = bytes;
}

void StubServer::SetAnswer(int connection, std::string const& bytes) {
    answers_[connection] = bytes;
}

void StubServer::SetCloseAfter(std::size_t bytes) {
    closeAfter_ = bytes;
}

void StubServer::SetDelaySeconds(double seconds) {
    delaySeconds_ = seconds;
}

void StubServer::Start() {
    int const fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        throw std::runtime_error("cannot start the HTTP stub: no socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(fd, 16) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(fd);
        throw std::runtime_error("cannot start the HTTP stub: no loopback port");
    }
    listener_ = fd;
    port_ = ntohs(address.sin_port);
    stop_ = false;
    thread_ = std::thread([this] { Serve(); });
}

void StubServer::Stop() {
    if (!thread_.joinable()) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
    ::close(listener_);
    listener_ = -1;
}

bool StubServer::Stopping() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return stop_;
}

void StubServer::Serve() {
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
        Answer(connection, fd);
        ::close(fd);
    }
}

void StubServer::Answer(int connection, int fd) {
    std::string const request = ReadRequest(fd);
    std::string answer;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        requests_[connection] = request;
        auto const numbered = answers_.find(connection);
        answer = numbered != answers_.end() ? numbered->second : answer_;
        if (delaySeconds_ > 0.0 &&
            wake_.wait_for(lock, std::chrono::duration<double>(delaySeconds_),
                           [this] { return stop_; })) {
            return;
        }
    }
    if (closeAfter_ && *closeAfter_ < answer.size()) {
        answer.resize(*closeAfter_);
    }
    SendAll(fd, answer);
}

std::string StubServer::ReadRequest(int fd) const {
    std::string data;
    std::vector<char> buffer(65536);
    // One read; false at the end of the connection, on an error, when idle too long or stopped.
    auto receive = [&] {
        for (int waited = 0; !WaitReadable(fd, kPollMs); waited += kPollMs) {
            if (waited >= kIdleLimitMs || Stopping()) {
                return false;
            }
        }
        auto const n = ::recv(fd, buffer.data(), buffer.size(), 0);
        if (n <= 0) {
            return false;
        }
        data.append(buffer.data(), static_cast<std::size_t>(n));
        return true;
    };
    while (data.find("\r\n\r\n") == std::string::npos) {
        if (!receive()) {
            return data;
        }
    }
    std::size_t const bodyStart = data.find("\r\n\r\n") + 4;
    std::size_t const length = ContentLength(data.substr(0, bodyStart));
    while (data.size() - bodyStart < length && data.size() < kMaxRequestBytes && receive()) {
    }
    return data;
}

bool StubServer::HasRequest(int connection) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_.count(connection) != 0;
}

std::string StubServer::Request(int connection) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto const found = requests_.find(connection);
    return found != requests_.end() ? found->second : std::string();
}

int ClosedPort() {
    StubServer stub;
    stub.SetAnswer("");
    stub.Start();
    int const port = stub.Port();
    stub.Stop();
    return port;
}

bool Peer::Start(std::string const& arguments) {
    std::string pid;
    if (!RunShell("'" + TestsDir() + "/peers/start' " + arguments, &pid)) {
        return false;
    }
    pid_ = pid.substr(0, pid.find_first_of("\r\n"));
    return !pid_.empty();
}

Peer::~Peer() {
    if (!pid_.empty()) {
        RunShell("'" + TestsDir() + "/peers/stop' " + pid_);
    }
}

int FreePort() {
    std::string port;
    RunShell(
        "python3 -c 'import socket; s = socket.socket(); s.bind((\"127.0.0.1\", 0)); "
        "print(s.getsockname()[1])'",
        &port);
    return std::atoi(port.c_str());
}

}  // namespace corvane::test
