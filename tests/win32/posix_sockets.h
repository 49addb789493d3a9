// Windows only: the few POSIX socket calls that the test peers make, over Windows Sockets.
// The peers are test code written against the POSIX interface; this keeps them unchanged.
// Include it after every other header of the file: its macros rename calls made later in the
// file, never declarations of the headers before it.
#ifndef CORVANE_TESTS_WIN32_POSIX_SOCKETS_H
#define CORVANE_TESTS_WIN32_POSIX_SOCKETS_H

#include <io.h>
#include <sys/types.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#define MSG_NOSIGNAL 0
#define SOCK_CLOEXEC 0

namespace corvane::test::win32 {

// Windows Sockets must be started before the first call; the reference is held until exit.
struct SocketsStarted {
    SocketsStarted() {
        WSADATA data;
        ::WSAStartup(MAKEWORD(2, 2), &data);
    }
};
inline const SocketsStarted kSocketsStarted;

// pollfd with an int descriptor, as the POSIX code fills it.
struct PollEntry {
    int fd;
    short events;
    short revents;
};

}  // namespace corvane::test::win32

inline int corvane_test_poll(corvane::test::win32::PollEntry* entries, unsigned long count,
                             int timeoutMs) {
    // The peers wait on one descriptor at a time.
    if (count != 1) {
        return -1;
    }
    WSAPOLLFD entry{static_cast<SOCKET>(entries->fd), entries->events, 0};
    const int rc = ::WSAPoll(&entry, 1, timeoutMs);
    entries->revents = entry.revents;
    return rc;
}

inline int corvane_test_close(int fd) {
    return ::closesocket(static_cast<SOCKET>(fd));
}

inline int accept4(int listener, sockaddr* address, int* length, int) {
    return static_cast<int>(::accept(static_cast<SOCKET>(listener), address, length));
}

// The option value is any object, as on POSIX.
template <typename T>
int setsockopt(SOCKET socket, int level, int name, const T* value, int length) {
    return ::setsockopt(socket, level, name, reinterpret_cast<const char*>(value), length);
}

#define pollfd corvane::test::win32::PollEntry
#define poll corvane_test_poll
#define close(fd) corvane_test_close(fd)

#endif
