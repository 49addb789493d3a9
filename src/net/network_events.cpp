#include "net/network_events.h"

namespace corvane::detail {

void NetworkEvents::Select(long mask) {
    if ((mask & kEventWrite) != 0 && (selected_ & kEventWrite) == 0) {
        writePosted_ = true;  // a connected socket is writable when write events are selected
    }
    selected_ = mask;
    readArmed_ = true;
    if (mask == kEventConnect) {
        leftBeforeClose_ = -1;  // a new connection
    }
}

void NetworkEvents::NoteReceive(long received, long size) {
    ++receives_;
    if (received == 0 && size > 0) {
        leftBeforeClose_ = 0;  // the end of the stream stays the end
    } else if (received > 0 && leftBeforeClose_ > 0) {
        leftBeforeClose_ = received < leftBeforeClose_ ? leftBeforeClose_ - received : 0;
    }
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
        record.connectError = ready.noErrorPending ? 0 : platform::PendingSocketError(socket);
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
    if (forRead && !forWrite && leftBeforeClose_ >= 0) {
        // The peer has closed and what is left before its close is counted: the system has
        // nothing more to tell.
        if (leftBeforeClose_ > 0) {
            readArmed_ = false;
            receivesAtReadEvent_ = receives_;
            record.events = kEventRead;
            return 0;
        }
        if (forClose) {
            record.events = kEventClose;
            return 0;
        }
    }
    platform::Readiness ready = platform::WaitSocket(socket, forWrite, forRead, forClose, timeout);
    if (ready.failed) {
        return platform::LastSocketError();
    }
    if (ready.bytesBeforeClose >= 0) {
        leftBeforeClose_ = ready.bytesBeforeClose;
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
