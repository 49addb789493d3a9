#include "client/loopback.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

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

StubServer::~StubServer() {
    Stop();
}

void StubServer::SetAnswer(std::string const& bytes) {
    WriteFile(dir_.File("response"), bytes);
}

void StubServer::SetAnswer(int connection, std::string const& bytes) {
    WriteFile(dir_.File("response-" + std::to_string(connection)), bytes);
}

void StubServer::SetCloseAfter(std::size_t bytes) {
    WriteFile(dir_.File("close-after"), std::to_string(bytes));
}

void StubServer::SetDelaySeconds(double seconds) {
    WriteFile(dir_.File("delay"), std::to_string(seconds));
}

void StubServer::Start() {
    std::string const script = TestsDir() + "/client/http_stub.py";
    if (!RunShell("python3 -S '" + script + "' '" + dir_.Path() + "' 60 >'" + dir_.File("log") +
                      "' 2>&1 & echo $!",
                  &pid_)) {
        throw std::runtime_error("cannot start the HTTP stub");
    }
    pid_ = pid_.substr(0, pid_.find_first_of("\r\n"));
    for (int i = 0; i < 500 && !fs::exists(dir_.File("port")); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    port_ = std::atoi(ReadFile(dir_.File("port")).c_str());
    if (port_ == 0) {
        throw std::runtime_error("the HTTP stub did not come up: " + ReadFile(dir_.File("log")));
    }
}

void StubServer::Stop() {
    if (!pid_.empty()) {
        // Waits until the process has exited (a zombie has closed its sockets), so that its
        // port is closed on return.
        RunShell("kill " + pid_ + " 2>/dev/null; while [ -e /proc/" + pid_ +
                 " ] && ! grep -q '^State:.*Z' /proc/" + pid_ +
                 "/status 2>/dev/null; do sleep 0.01; done");
        pid_.clear();
    }
}

bool StubServer::HasRequest(int connection) const {
    return fs::exists(dir_.File("request-" + std::to_string(connection)));
}

std::string StubServer::Request(int connection) const {
    return ReadFile(dir_.File("request-" + std::to_string(connection)));
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
