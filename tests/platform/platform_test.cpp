// The platform layer's own promises: SIGPIPE never escapes a guarded call, the code page is
// ISO-8859-1 both ways, and libraries load only by absolute path.
#ifndef _WIN32
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/codepage.h"
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

TEST(CodePage, IsLatin1BothWays) {
    std::string bytes;
    for (int b = 0; b < 256; ++b) {
        bytes += static_cast<char>(b);
    }
    const std::u16string wide = corvane::platform::AnsiToWide(bytes);
    ASSERT_EQ(wide.size(), 256u);
    for (int b = 0; b < 256; ++b) {
        EXPECT_EQ(wide[static_cast<std::size_t>(b)], static_cast<char16_t>(b));
    }
    EXPECT_EQ(corvane::platform::WideToAnsi(wide), bytes);
    EXPECT_EQ(corvane::platform::WideToAnsi(u"a\u0100\u20ac\xff"), "a??\xff");
}

TEST(Library, LoadsOnlyByAbsolutePath) {
    // The C library is always loadable by name; a bare name must still not be searched for.
    EXPECT_EQ(corvane::platform::LoadLibraryAt("libc.so.6"), nullptr);
    EXPECT_EQ(corvane::platform::LoadLibraryAt(""), nullptr);
    EXPECT_EQ(corvane::platform::LoadLibraryAt("/nonexistent/libcrypto.so.3"), nullptr);
}

}  // namespace

#endif
