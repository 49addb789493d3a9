// Shared by both socket implementations: the C library's errno values (POSIX calls, and the
// C run-time on Windows) mapped onto Windows Sockets numbers.
#include <cerrno>

#include "platform/socket.h"

namespace corvane::platform {

int MapErrno(int error) {
    switch (error) {
        case 0:
            return 0;
        case EWOULDBLOCK:
#if EAGAIN != EWOULDBLOCK
        case EAGAIN:
#endif
        case EINPROGRESS:
            return 10035;
        case EADDRNOTAVAIL:
            return 10049;
        case ENETDOWN:
            return 10050;
        case ENETUNREACH:
            return 10051;
        case ECONNABORTED:
            return 10053;
        case ECONNRESET:
            return 10054;
        case ENOBUFS:
            return 10055;
        case EISCONN:
            return 10056;
        case ENOTCONN:
            return 10057;
        case ETIMEDOUT:
            return 10060;
        case ECONNREFUSED:
            return 10061;
        case EHOSTUNREACH:
            return 10065;
        default:
            return 10022;
    }
}

}  // namespace corvane::platform
