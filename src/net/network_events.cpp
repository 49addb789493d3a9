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
    const bool forWrite = (selected_ & kEventWrite) != 0 && writeArmed_;
    const bool forRead = (selected_ & kEventRead) != 0 && readArmed_;
    const bool forClose = (selected_ & kEventClose) != 0;
    const bool posted = (selected_ & kEventWrite) != 0 && writePosted_;
    platform::Readiness ready =
        platform::WaitSocket(socket, forWrite, forRead, forClose, posted ? 0 : timeout);
    if (ready.failed) {
        return platform::LastSocketError();
    }
    if (posted) {
        writePosted_ = false;
        record.events |= kEventWrite;
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
