// A one-connection TCP server on 127.0.0.1 run in a thread, scripted per test. It records the
// bytes it receives so tests can assert on exactly what went over the wire.
#ifndef CORVANE_TESTS_NET_LOOPBACK_SERVER_H
#define CORVANE_TESTS_NET_LOOPBACK_SERVER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace corvane::test {

struct ServerScript {
    // The request ends after this many bytes; 0: at the first zero byte.
    std::size_t requestBytes = 0;
    // Pieces of the reply, written in order with `pauseMs` between them; then the server closes.
    std::vector<std::string> reply;
    int pauseMs = 0;
    // Accept, read the request, and never answer (until the client goes away).
    bool silent = false;
    // Read this many bytes, then reset the connection while the client is still sending.
    std::size_t resetAfter = 0;
    // A slow reader: small receive buffer, `readChunk` bytes per read with `readPauseMs` between.
    std::size_t readChunk = 0;
    int readPauseMs = 0;
};

class LoopbackServer {
public:
    explicit LoopbackServer(ServerScript script);
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    int Port() const { return port_; }
    // Waits for the connection to end and returns what the client sent.
    const std::string& Received();

private:
    void Serve();

    ServerScript script_;
    int listener_ = -1;
    int port_ = 0;
    std::string received_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// A port on 127.0.0.1 that nothing listens on (bound, then released).
int UnusedPort();

// Fixes a connected socket's send buffer at a few kilobytes, so the kernel's autotuning cannot
// grow it: a large send then certainly does not fit.
void ShrinkSendBuffer(std::intptr_t socket);

}  // namespace corvane::test

#endif
