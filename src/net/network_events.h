// The network-event object of a socket: which events are selected, and the state that keeps
// the Windows Sockets event semantics over readiness waits. A write event follows the
// selection of write events at once and, after that, only a send that would have blocked; a
// read event is not repeated until the handler has received from the socket; a close event
// comes when the peer has closed.
#ifndef CORVANE_NET_NETWORK_EVENTS_H
#define CORVANE_NET_NETWORK_EVENTS_H

#include "platform/socket.h"

namespace corvane::detail {

constexpr long kEventRead = 1;
constexpr long kEventWrite = 2;
constexpr long kEventConnect = 16;
constexpr long kEventClose = 32;

struct NetworkEventRecord {
    long events = 0;
    int connectError = 0;
    int writeError = 0;
    int readError = 0;
    int closeError = 0;
};

class NetworkEvents {
public:
    void Select(long mask);
    void NoteWouldBlock() { writeArmed_ = true; }
    // A receive through the TLS layer, whose bytes are not the socket's own.
    void NoteReceive() {
        ++receives_;
        leftBeforeClose_ = -1;
    }
    // A receive of at most `size` bytes from the socket itself that returned `received`.
    void NoteReceive(long received, long size);
    unsigned long Receives() const { return receives_; }
    // The peer has closed and every byte it sent before has been received: a receive from the
    // socket would only find the end.
    bool AtEnd() const { return leftBeforeClose_ == 0; }

    // Waits up to `timeout` milliseconds for selected events: 0 with `record` filled, the
    // time-out code 258, or the code of a failed wait.
    int Wait(platform::SocketHandle socket, unsigned long timeout, NetworkEventRecord& record);

private:
    long selected_ = 0;
    bool writePosted_ = false;  // a write event owed without waiting
    bool writeArmed_ = false;   // a send would have blocked: report when space frees
    bool readArmed_ = true;
    unsigned long receives_ = 0;
    unsigned long receivesAtReadEvent_ = 0;
    // Once a wait has seen the peer's close: the bytes still to receive before it, else -1.
    // While it is known, later waits need not ask the system.
    long leftBeforeClose_ = -1;
};

}  // namespace corvane::detail

#endif
