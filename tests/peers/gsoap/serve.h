// The accept loop of gSOAP's standalone servers (the test peers and the load benchmark's peer):
// every connection is served on a copy of the listening context in a thread of its own, until
// SIGINT, SIGTERM or an end time.
#ifndef CORVANE_PEERS_GSOAP_SERVE_H
#define CORVANE_PEERS_GSOAP_SERVE_H

#include <stdsoap2.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

namespace gsoap_peer {

inline volatile std::sig_atomic_t g_stop = 0;

extern "C" inline void OnStopSignal(int) {
    g_stop = 1;
}

// Binds `listener` to 127.0.0.1:port (0: the system chooses) with an accept time-out short
// enough for the loop to see a stop request. False, with gSOAP's fault printed, when it cannot.
inline bool Listen(soap* listener, int port, int backlog) {
    listener->bind_flags = SO_REUSEADDR;
    listener->accept_timeout = 1;
    if (!soap_valid_socket(soap_bind(listener, "127.0.0.1", port, backlog))) {
        soap_print_fault(listener, stderr);
        return false;
    }
    return true;
}

// Accepts until a stop signal or `end` (0: none), calling `serve` with each connection's context
// in a thread; `logConnections` prints a line per connection, so that reuse of kept connections
// can be seen.
template <class Serve>
void ServeConnections(soap* listener, std::time_t end, bool logConnections, Serve serve) {
    std::signal(SIGINT, OnStopSignal);
    std::signal(SIGTERM, OnStopSignal);
    std::signal(SIGPIPE, SIG_IGN);
    unsigned long connections = 0;
    while (!g_stop && (end == 0 || std::time(nullptr) < end)) {
        if (!soap_valid_socket(soap_accept(listener))) {
            continue;  // the accept time-out, or a connection that failed at once
        }
        if (logConnections) {
            std::fprintf(stderr, "connection %lu\n", ++connections);
        }
        soap* const connection = soap_copy(listener);
        std::thread([connection, serve] {
            serve(connection);
            soap_destroy(connection);
            soap_end(connection);
            soap_free(connection);
        }).detach();
    }
}

// The test peers' main: `NAME PORT LIFETIME_SECONDS`, listening on 127.0.0.1:PORT with `mode`
// and answering through `serve` (soapcpp2's dispatcher).
inline int RunPeer(int argc, char** argv, soap_mode mode, bool logConnections,
                   int (*serve)(soap*)) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PORT LIFETIME_SECONDS\n", argv[0]);
        return 2;
    }
    int const port = std::atoi(argv[1]);
    std::time_t const end = std::time(nullptr) + std::atol(argv[2]);
    soap* const listener = soap_new1(mode);
    listener->recv_timeout = 30;
    listener->send_timeout = 30;
    if (!Listen(listener, port, 64)) {
        return 1;
    }
    ServeConnections(listener, end, logConnections, serve);
    soap_free(listener);
    return 0;
}

}  // namespace gsoap_peer

#endif
