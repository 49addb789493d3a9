// The platform layer's own promises: SIGPIPE never escapes a guarded call, and libraries load
// only by absolute path. The code page's conversions are codepage_block_test's.
#ifndef _WIN32
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/library.h"
#include "platform/signals.h"

namespace {

using corvane::platform::SigpipeGuard;

sigset_t PipeOnly() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    return pipe;
}

bool Pending() {
    sigset_t pending = PipeOnly();
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

bool Blocked() {
    sigset_t mask = PipeOnly();
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, SIGPIPE) == 1;
}

// A write to a socket whose peer is gone: raises SIGPIPE unless it is blocked.
int WriteToClosedPeer() {
    int pair[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    close(pair[1]);
    const ssize_t written = write(pair[0], "x", 1);
    const int error = errno;
    close(pair[0]);
    EXPECT_EQ(written, -1);
    return error;
}

void BlockSigpipe(int how) {
    sigset_t pipe = PipeOnly();
    pthread_sigmask(how, &pipe, nullptr);
}

TEST(SigpipeGuard, SwallowsTheSignalAndKeepsErrno) {
    ASSERT_FALSE(Blocked());
    {
        SigpipeGuard guard;
        EXPECT_TRUE(Blocked());
        EXPECT_EQ(WriteToClosedPeer(), EPIPE);
        errno = EPIPE;
    }
    EXPECT_EQ(errno, EPIPE);  // callers map errno right after the guarded call
    EXPECT_FALSE(Pending());
    EXPECT_FALSE(Blocked());
}

TEST(SigpipeGuard, LeavesTheApplicationsMaskAndPendingSignalAlone) {
    BlockSigpipe(SIG_BLOCK);
    raise(SIGPIPE);  // the application's own, pending while it blocks the signal
    {
        SigpipeGuard guard;
        WriteToClosedPeer();
    }
    EXPECT_TRUE(Blocked());
    EXPECT_TRUE(Pending());
    sigset_t pipe = PipeOnly();
    timespec zero{0, 0};
    EXPECT_EQ(sigtimedwait(&pipe, nullptr, &zero), SIGPIPE);
    EXPECT_FALSE(Pending());
    BlockSigpipe(SIG_UNBLOCK);
}

TEST(Library, LoadsOnlyByAbsolutePath) {
    // The C library is always loadable by name; a bare name must still not be searched for.
    EXPECT_EQ(corvane::platform::LoadLibraryAt("libc.so.6"), nullptr);
    EXPECT_EQ(corvane::platform::LoadLibraryAt(""), nullptr);
    EXPECT_EQ(corvane::platform::LoadLibraryAt("/nonexistent/libcrypto.so.3"), nullptr);
}

}  // namespace

#endif
