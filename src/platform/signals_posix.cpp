#include "platform/signals.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <time.h>

#include <cerrno>

namespace corvane::platform {
namespace {

bool SigpipePending() {
    sigset_t pending;
    sigemptyset(&pending);
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

extern "C" void IgnoreSignal(int) {}

}  // namespace

SigpipeGuard::SigpipeGuard() : wasBlocked_(false), wasPending_(SigpipePending()) {
    const int savedErrno = errno;
    sigset_t block;
    sigemptyset(&block);
    sigaddset(&block, SIGPIPE);
    sigset_t previous;
    sigemptyset(&previous);
    pthread_sigmask(SIG_BLOCK, &block, &previous);
    wasBlocked_ = sigismember(&previous, SIGPIPE) == 1;
    errno = savedErrno;
}

SigpipeGuard::~SigpipeGuard() {
    // The guarded call's errno is what callers read next.
    const int savedErrno = errno;
    // Only a SIGPIPE that appeared while guarded is ours to consume; one pending before
    // belongs to the application.
    if (!wasPending_ && SigpipePending()) {
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        timespec zero{0, 0};
        sigtimedwait(&pipe, nullptr, &zero);
    }
    if (!wasBlocked_) {
        sigset_t unblock;
        sigemptyset(&unblock);
        sigaddset(&unblock, SIGPIPE);
        pthread_sigmask(SIG_UNBLOCK, &unblock, nullptr);
    }
    errno = savedErrno;
}

void IgnoreAbortSignal() {
    struct sigaction action {};
    action.sa_handler = IgnoreSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGABRT, &action, nullptr);
}

void YieldProcessor() {
    sched_yield();
}

}  // namespace corvane::platform
