// The one loopback peer of the tests: a TCP server on 127.0.0.1 run in a thread of the test. It
// takes connections one at a time, reads a request, records it and answers as scripted: canned
// bytes (per connection or for all), a document by request target, or silence.
#ifndef CORVANE_TESTS_SUPPORT_LOOPBACK_H
#define CORVANE_TESTS_SUPPORT_LOOPBACK_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace corvane::test {

struct ServerScript {
    // Where a request ends: after this many bytes; 0: after an HTTP head and its Content-Length
    // bytes of body, or at the first zero byte when `untilZeroByte`.
    std::size_t requestBytes = 0;
    bool untilZeroByte = false;
    // Pieces of the answer to every connection, written in order with `pauseMs` between them;
    // then the server closes the connection.
    std::vector<std::string> reply;
    int pauseMs = 0;
    // Read the request, then never answer (until the client goes away).
    bool silent = false;
    // Read this many bytes, then reset the connection while the client is still sending.
    std::size_t resetAfter = 0;
    // A slow reader: small receive buffer, `readChunk` bytes per read with `readPauseMs` between.
    std::size_t readChunk = 0;
    int readPauseMs = 0;
    // Only this many bytes of the answer are sent (0: all of it).
    std::size_t closeAfter = 0;
    // The answer waits this long after the request.
    int delayMs = 0;
};

class LoopbackServer {
public:
    explicit LoopbackServer(ServerScript script = {});
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    // The answer to every connection, or to the n-th one (from 1).
    void SetAnswer(const std::string& bytes) {
        Locked([&] { script_.reply = {bytes}; });
    }
    void SetAnswer(int connection, const std::string& bytes) {
        Locked([&] { answers_[connection] = bytes; });
    }
    // An HTTP/1.0 answer with a text/xml body to a GET of `target`; for other targets, the file
    // under `SetRoot`'s directory named by the path, else 404. Numbered answers come first.
    void Set(const std::string& target, int status, const std::string& body) {
        Locked([&] { routes_[target] = {status, body}; });
    }
    void SetRoot(const std::string& directory) {
        Locked([&] { root_ = directory; });
    }
    void SetCloseAfter(std::size_t bytes) {
        Locked([&] { script_.closeAfter = bytes; });
    }
    void SetDelayMs(int milliseconds) {
        Locked([&] { script_.delayMs = milliseconds; });
    }

    int Port() const { return port_; }
    // Returns once the port is closed; an answer still waiting for its delay is dropped.
    void Stop();
    bool HasRequest(int connection) const {
        return Locked([&] { return requests_.count(connection) != 0; });
    }
    // What the n-th connection sent (empty if there was none).
    std::string Request(int connection) const;
    std::vector<std::string> Requests() const;
    // Waits for the first connection to end and returns what the client sent.
    std::string Received();

private:
    template <class F>
    auto Locked(F f) const -> decltype(f()) {
        std::lock_guard<std::mutex> lock(mutex_);
        return f();
    }
    void Serve();
    void Answer(int connection, int fd);
    std::string ReadRequest(int fd) const;
    std::string AnswerFor(const std::string& request) const;
    bool Stopping() const {
        return Locked([&] { return stop_; });
    }

    ServerScript script_;
    std::map<int, std::string> answers_;
    std::map<std::string, std::pair<int, std::string>> routes_;
    std::string root_;
    int listener_ = -1;
    int port_ = 0;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    int finished_ = 0;
    std::map<int, std::string> requests_;
    std::thread thread_;
};

// A whole HTTP answer.
std::string HttpAnswer(const std::string& statusLine, const std::string& contentType,
                       const std::string& body);

// A port on 127.0.0.1 that nothing listens on (bound, then released).
int UnusedPort();

// Fixes a connected socket's send buffer at a few kilobytes, so the kernel's autotuning cannot
// grow it: a large send then certainly does not fit.
void ShrinkSendBuffer(std::intptr_t socket);

}  // namespace corvane::test

#endif
