// Loopback servers for the client tests: a canned-answer HTTP stub run in a thread of the test,
// and the real SOAP peers of tests/peers, run as processes that each test starts and stops by
// their own process ids.
#ifndef CORVANE_TESTS_CLIENT_LOOPBACK_H
#define CORVANE_TESTS_CLIENT_LOOPBACK_H

#include <corvane/types.h>

#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace corvane::test {

// The tests/ folder of the source tree.
std::string TestsDir();
std::string ReadFile(std::string const& path);
void WriteFile(std::string const& path, std::string const& bytes);
// Runs a shell command; its standard output, and whether it exited with status 0.
bool RunShell(std::string const& command, std::string* output = nullptr);
// ASCII and Latin-1 text both ways (each byte is one code unit), as on the wire.
WMString Widen(std::string const& text);
std::string Narrow(WMString const& text);
// A whole HTTP answer.
std::string HttpAnswer(std::string const& statusLine, std::string const& contentType,
                       std::string const& body);

// A fresh directory under the system's temporary directory, removed with the object.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;
    std::string const& Path() const { return path_; }
    std::string File(std::string const& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// A loopback HTTP server on 127.0.0.1 that answers connections one at a time, in order: it reads
// a request (headers, then Content-Length bytes of body, with whatever else arrived with them),
// records it, and answers with canned bytes.
class StubServer {
public:
    StubServer() = default;
    ~StubServer();
    StubServer(StubServer const&) = delete;
    StubServer& operator=(StubServer const&) = delete;

    // The answer to every connection, or to the n-th one (from 1). Set before Start.
    void SetAnswer(std::string const& bytes);
    void SetAnswer(int connection, std::string const& bytes);
    // Only the first `bytes` of the answer are sent before the connection is closed.
    void SetCloseAfter(std::size_t bytes);
    // The answer waits this long after the request.
    void SetDelaySeconds(double seconds);

    void Start();
    // Returns once the port is closed; an answer still waiting for its delay is dropped.
    void Stop();
    int Port() const { return port_; }
    bool HasRequest(int connection) const;
    std::string Request(int connection) const;

private:
    void Serve();
    void Answer(int connection, int fd);
    bool Stopping() const;
    std::string ReadRequest(int fd) const;

    std::string answer_;
    std::map<int, std::string> answers_;
    std::optional<std::size_t> closeAfter_;
    double delaySeconds_ = 0.0;
    int listener_ = -1;
    int port_ = 0;
    std::thread thread_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    std::map<int, std::string> requests_;
};

// A port on which nothing listens (a stub's, after the stub has stopped).
int ClosedPort();

// A server of tests/peers/start (php, php-ssl, soaplite, tls), stopped with the object.
class Peer {
public:
    // False when the server did not come up (for tls: typically port 443 not bindable).
    bool Start(std::string const& arguments);
    ~Peer();
    Peer() = default;
    Peer(Peer const&) = delete;
    Peer& operator=(Peer const&) = delete;

private:
    std::string pid_;
};

// A free loopback port for a peer, from the operating system's ephemeral range.
int FreePort();

}  // namespace corvane::test

#endif
