#include "net/network_events.h"

namespace corvane::detail {

void NetworkEvents::Select(long mask) {
    if ((mask & kEventWrite) != 0 && (selected_ & kEventWrite) == 0) {
        writePosted_ = true;  // a connected socket is writable when write events are selected
    }
    selected_ = mask;
    readArmed_ = true;
}

int NetworkEvents::Wait(platform::SocketHandle socket, unsigned long timeout,
                        NetworkEventRecord& record) {
    record = NetworkEventRecord();
    if (selected_ == kEventConnect) {
        platform::Readiness ready = platform::WaitSocket(socket, true, false, false, timeout);
        if (ready.failed) {
            return platform::LastSocketError();
        }
        if (ready.timedOut) {
            return platform::kErrTimeout;
        }
        record.events = kEventConnect;
        record.connectError = platform::PendingSocketError(socket);
        return 0;
    }
    if (!readArmed_ && receives_ != receivesAtReadEvent_) {
        readArmed_ = true;
    }
    if ((selected_ & kEventWrite) != 0 && writePosted_) {
        // An owed write event comes alone and at once: the handlers run in the same order
        // when a read or close that is already there is found by the next wait instead.
        writePosted_ = false;
        record.events = kEventWrite;
        return 0;
    }
    const bool forWrite = (selected_ & kEventWrite) != 0 && writeArmed_;
    const bool forRead = (selected_ & kEventRead) != 0 && readArmed_;
    const bool forClose = (selected_ & kEventClose) != 0;
    platform::Readiness ready = platform::WaitSocket(socket, forWrite, forRead, forClose, timeout);
    if (ready.failed) {
        return platform::LastSocketError();
    }
    if (ready.writable) {
        writeArmed_ = false;
        record.events |= kEventWrite;
    }
    if (ready.readable) {
        readArmed_ = false;
        receivesAtReadEvent_ = receives_;
        record.events |= kEventRead;
    }
    if (ready.closed && forClose) {
        record.events |= kEventClose;
        record.closeError = ready.closeError;
    }
    return record.events == 0 ? platform::kErrTimeout : 0;
}

}  // namespace corvane::detail
