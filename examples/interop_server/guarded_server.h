// cpp-httplib's Server with the limits that a service open to real clients needs.
//
// cpp-httplib's own limits are per read: a client that sends one byte a second never trips its
// read time-out, and its fixed pool of 8 threads is then held by 8 such clients while every other
// connection waits in an unbounded queue. GuardedServer keeps cpp-httplib's request parsing and
// routing (its handlers, error handler and payload limit work unchanged) and runs each connection
// itself:
//
// - TCP_NODELAY on every accepted socket. cpp-httplib writes the status and headers and then the
//   body in two sends; with Nagle's algorithm the body waits for the client's delayed
//   acknowledgement of the headers, about 40 ms on every request after the first of a kept-alive
//   connection.
// - Deadlines, not per-read time-outs: the request line and headers must arrive within
//   headerTimeout of the request's first byte, the body within bodyTimeout of the headers' end.
// - Persistent connections: at most maxRequestsPerConnection requests, and idleTimeout to wait
//   for the next one.
// - Each connection has a thread of its own, at most maxConnections at once; a connection beyond
//   that gets 503 with the refusal body and is closed.
// - Shutdown(): no new connections, idle connections closed, requests already begun finished.
//
// Sockets are POSIX here, as the example is built only where cpp-httplib is (not for Windows).
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>

struct ServerLimits {
    std::chrono::seconds headerTimeout{10};
    std::chrono::seconds bodyTimeout{60};
    std::chrono::seconds idleTimeout{5};
    std::chrono::seconds writeTimeout{30};
    std::size_t maxRequestsPerConnection = 100;
    std::size_t maxConnections = 256;
    std::size_t maxRequestBytes = 8 * 1024 * 1024;
};

class GuardedServer : public httplib::Server {
public:
    // refusalBody (text/xml) is the answer to a connection beyond the limit, with status 503.
    GuardedServer(ServerLimits const& limits, std::string const& refusalBody);
    ~GuardedServer() override;
    GuardedServer(GuardedServer const&) = delete;
    GuardedServer& operator=(GuardedServer const&) = delete;

    // Binds to the port (0: one the system chooses) with a backlog fit for bursts of clients;
    // returns the port, or -1.
    int Bind(std::string const& host, int port);

    // Safe from any thread; listen_after_bind() returns once the requests in flight are answered.
    void Shutdown();

private:
    bool process_and_close_socket(socket_t sock) override;

    ServerLimits const m_limits;
    std::string const m_refusal;  // the whole 503 answer
    int m_stopRead = -1;          // readable (at end of file) once Shutdown() closed m_stopWrite
    int m_stopWrite = -1;
    std::atomic<bool> m_stopping{false};
    std::once_flag m_shutdown;
};

// Bounds how many requests are processed at once, apart from how many connections are open: the
// SOAP work of one request takes about twenty times the request's size in memory.
class WorkerSlots {
public:
    explicit WorkerSlots(std::size_t count) : m_free(count) {}

    class Hold {
    public:
        explicit Hold(WorkerSlots& slots);
        ~Hold();
        Hold(Hold const&) = delete;
        Hold& operator=(Hold const&) = delete;

    private:
        WorkerSlots& m_slots;
    };

private:
    std::mutex m_mutex;
    std::condition_variable m_freed;
    std::size_t m_free;
};
