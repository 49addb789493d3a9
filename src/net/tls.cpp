#include "net/tls.h"

#include "platform/signals.h"

namespace corvane::detail {
namespace {

constexpr int kWantRead = 2;
constexpr int kWantWrite = 3;
constexpr int kSyscall = 5;

}  // namespace

TlsRetry::TlsRetry(platform::SocketHandle socket, unsigned long timeoutMs)
    : socket_(socket),
      forever_(timeoutMs == 0xFFFFFFFFUL),
      deadline_(std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs)) {}

bool TlsRetry::Wait(int sslError) {
    const auto now = std::chrono::steady_clock::now();
    if (!forever_ && now >= deadline_) {
        timedOut_ = true;
        return false;
    }
    const unsigned long left =
        forever_
            ? 0xFFFFFFFFUL
            : static_cast<unsigned long>(
                  std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - now).count() +
                  1);
    if (sslError == kWantRead || sslError == kWantWrite) {
        // Waiting for the socket instead of spinning; the retry is the same.
        platform::Readiness ready = platform::WaitSocket(socket_, sslError == kWantWrite,
                                                         sslError == kWantRead, false, left);
        if (ready.timedOut) {
            timedOut_ = true;
            return false;
        }
        return !ready.failed;
    }
    if (sslError == kSyscall) {
        // A system-call error is retried only while the socket says "not yet"; a real error
        // (or an end of stream, errno 0) would otherwise be retried for ever.
        const int socketError = platform::LastSocketError();
        if (socketError == platform::kErrWouldBlock || socketError == 10057) {
            platform::YieldProcessor();
            return true;
        }
        socketError_ = socketError;
    }
    return false;
}

}  // namespace corvane::detail
