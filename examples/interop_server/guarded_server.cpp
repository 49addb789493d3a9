#include "guarded_server.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// After the last answer on a connection the server half-closes it and reads what the client
// still sends for at most this long, so that a request body the server did not read does not
// turn the close into a reset that could discard the answer at the client.
constexpr std::chrono::seconds kLinger{1};
// The request line and headers together; cpp-httplib refuses longer lines itself.
constexpr std::size_t kMaxHeadBytes = 64 * 1024;
// Refused connections waiting beyond this many are closed without an answer, so that a flood
// costs the refusing thread nothing.
constexpr std::size_t kRefusalBacklog = 64;
// Writes up to this size together wait to leave with the next one.
constexpr std::size_t kCoalesce = 4096;

// How the thread that runs a connection should treat it. cpp-httplib hands its task queue an
// opaque job that calls process_and_close_socket(); the queue, which alone knows whether the job
// fits under the connection limit, says so through this variable of the thread that runs the job.
enum class Admission { Serve, Refuse, Drop };
thread_local Admission t_admission = Admission::Serve;

int Remaining(Clock::time_point deadline) {
    auto const left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, 60 * 1000));
}

// Waits until fd has one of the events or the deadline passes; false on the deadline or an error.
bool WaitFor(int fd, short events, Clock::time_point deadline) {
    for (;;) {
        pollfd entry{fd, events, 0};
        int const ready = poll(&entry, 1, Remaining(deadline));
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
        if (ready == 0 && Clock::now() >= deadline) {
            return false;
        }
    }
}

std::string Refusal(std::string const& body) {
    return "HTTP/1.1 503 Service Unavailable\r\nContent-Type: text/xml; charset=utf-8\r\n"
           "Content-Length: " +
           std::to_string(body.size()) + "\r\nRetry-After: 1\r\nConnection: close\r\n\r\n" + body;
}

// One accepted connection as cpp-httplib's Stream, with the request's deadlines.
class Connection final : public httplib::Stream {
public:
    Connection(int sock, ServerLimits const& limits) : m_sock(sock), m_limits(limits) {
        int const on = 1;
        setsockopt(m_sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Connection() override { close(m_sock); }
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    // Waits for the first byte of the next request, for at most the idle time-out. False when
    // none comes, the client closed, or stopRead says the server stops and nothing is pending.
    bool AwaitRequest(int stopRead) {
        if (m_begin == m_end) {
            auto const deadline = Clock::now() + m_limits.idleTimeout;
            for (;;) {
                pollfd entries[] = {{m_sock, POLLIN, 0}, {stopRead, POLLIN, 0}};
                int const ready = poll(entries, 2, Remaining(deadline));
                if (ready < 0 && errno == EINTR) {
                    continue;
                }
                if (ready < 0 || (ready == 0 && Clock::now() >= deadline)) {
                    return false;
                }
                if (entries[0].revents != 0) {
                    break;
                }
                if (entries[1].revents != 0) {
                    return false;
                }
            }
            if (!Receive(deadline)) {
                return false;
            }
        }
        m_inHead = true;
        m_complete = false;
        m_lineLength = 0;
        m_requestBytes = 0;
        m_deadline = Clock::now() + m_limits.headerTimeout;
        return true;
    }

    // Whether the last request was read whole and the connection is fit for another.
    bool Healthy() const { return m_complete && !m_readFailed && !m_writeFailed; }

    // Right after an answer, half-closes and lingers briefly (see kLinger); the destructor
    // closes.
    void Linger() {
        if (m_writeFailed) {
            return;
        }
        shutdown(m_sock, SHUT_WR);
        auto const deadline = Clock::now() + kLinger;
        char discard[4096];
        while (WaitFor(m_sock, POLLIN, deadline) && recv(m_sock, discard, sizeof discard, 0) > 0) {
        }
    }

    // The answer past the connection limit, sent without reading the request.
    void Refuse(std::string const& answer) {
        auto const deadline = Clock::now() + kLinger;
        m_writeFailed = !Send(answer.data(), answer.size(), deadline);
        Linger();
    }

    bool is_readable() const override {
        return m_begin < m_end || WaitFor(m_sock, POLLIN, m_deadline);
    }

    bool is_writable() const override {
        return WaitFor(m_sock, POLLOUT, Clock::now() + m_limits.writeTimeout);
    }

    ssize_t read(char* out, std::size_t size) override {
        if (!Flush()) {  // an interim answer such as 100 Continue
            return -1;
        }
        if (m_begin == m_end && !Receive(m_deadline)) {
            return m_readFailed ? -1 : 0;
        }
        std::size_t const count = std::min(size, m_end - m_begin);
        char const* const data = m_buffer + m_begin;
        for (std::size_t i = 0; m_inHead && i < count; ++i) {
            Track(data[i]);
        }
        m_requestBytes += count;
        // A request without a length is read to the end of the connection; this bounds it as
        // the payload limit bounds one with a length.
        if (m_requestBytes > m_limits.maxRequestBytes + kMaxHeadBytes ||
            (m_inHead && m_requestBytes > kMaxHeadBytes)) {
            m_readFailed = true;
            return -1;
        }
        std::memcpy(out, data, count);
        m_begin += count;
        return static_cast<ssize_t>(count);
    }

    // Small writes (cpp-httplib's status line and headers) wait for the next one, so that an
    // answer leaves in one send; Flush() sends them after each request and before each read.
    ssize_t write(char const* data, std::size_t size) override {
        if (m_writeFailed) {
            return -1;
        }
        if (m_pending.size() + size <= kCoalesce) {
            m_pending.append(data, size);
            return static_cast<ssize_t>(size);
        }
        if (!Send(data, size, Clock::now() + m_limits.writeTimeout)) {
            m_writeFailed = true;
            return -1;
        }
        return static_cast<ssize_t>(size);
    }

    bool Flush() {
        if (!m_pending.empty() && !m_writeFailed &&
            !Send(nullptr, 0, Clock::now() + m_limits.writeTimeout)) {
            m_writeFailed = true;
        }
        m_pending.clear();
        return !m_writeFailed;
    }

    // cpp-httplib asks for both addresses on every request; they are looked up once.
    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        if (m_remote.port < 0) {
            Look(getpeername, m_remote);
        }
        ip = m_remote.ip;
        port = m_remote.port;
    }

    void get_local_ip_and_port(std::string& ip, int& port) const override {
        if (m_local.port < 0) {
            Look(getsockname, m_local);
        }
        ip = m_local.ip;
        port = m_local.port;
    }

    socket_t socket() const override { return m_sock; }

private:
    // Follows the request line and headers byte by byte as cpp-httplib takes them: they end with
    // a line that is only CR LF. The body's deadline starts there.
    void Track(char c) {
        if (c != '\n') {
            m_previous = c;
            ++m_lineLength;
            return;
        }
        if (m_lineLength == 1 && m_previous == '\r') {
            m_inHead = false;
            m_complete = true;
            m_deadline = Clock::now() + m_limits.bodyTimeout;
        }
        m_lineLength = 0;
        m_previous = 0;
    }

    // Fills the empty buffer before the deadline; false at the end of the connection (m_readFailed
    // stays false) or on the deadline or an error (m_readFailed set). Reads first and waits only
    // when nothing has come: the rest of a request is usually there already.
    bool Receive(Clock::time_point deadline) {
        for (;;) {
            ssize_t const got = recv(m_sock, m_buffer, sizeof m_buffer, MSG_DONTWAIT);
            if (got > 0) {
                m_begin = 0;
                m_end = static_cast<std::size_t>(got);
                return true;
            }
            if (got == 0) {
                return false;
            }
            bool const later = errno == EAGAIN || errno == EWOULDBLOCK;
            if ((!later && errno != EINTR) || (later && !WaitFor(m_sock, POLLIN, deadline))) {
                m_readFailed = true;
                return false;
            }
        }
    }

    // Sends what waits in m_pending, then data.
    bool Send(char const* data, std::size_t size, Clock::time_point deadline) {
        iovec parts[] = {{m_pending.data(), m_pending.size()}, {const_cast<char*>(data), size}};
        std::size_t first = 0;
        while (first < 2) {
            if (parts[first].iov_len == 0) {
                ++first;
                continue;
            }
            // Sends first and waits only when the socket's buffer is full.
            msghdr message{};
            message.msg_iov = parts + first;
            message.msg_iovlen = 2 - first;
            ssize_t sent = sendmsg(m_sock, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (sent < 0) {
                if (errno == EINTR) {
                    continue;
                }
                if ((errno == EAGAIN || errno == EWOULDBLOCK) &&
                    WaitFor(m_sock, POLLOUT, deadline)) {
                    continue;
                }
                return false;
            }
            for (std::size_t i = first; i < 2 && sent > 0; ++i) {
                std::size_t const taken =
                    std::min(static_cast<std::size_t>(sent), parts[i].iov_len);
                parts[i].iov_base = static_cast<char*>(parts[i].iov_base) + taken;
                parts[i].iov_len -= taken;
                sent -= static_cast<ssize_t>(taken);
            }
        }
        m_pending.clear();
        return true;
    }

    struct Address {
        std::string ip;
        int port = -1;  // not looked up yet
    };

    // Sets the address that `query` (getpeername or getsockname) gives, or port 0 when none.
    void Look(int (*query)(int, sockaddr*, socklen_t*), Address& into) const {
        into.port = 0;
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        char host[NI_MAXHOST];
        char service[NI_MAXSERV];
        if (query(m_sock, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
            getnameinfo(reinterpret_cast<sockaddr const*>(&address), length, host, sizeof host,
                        service, sizeof service, NI_NUMERICHOST | NI_NUMERICSERV) == 0) {
            into.ip = host;
            into.port = std::atoi(service);
        }
    }

    int const m_sock;
    ServerLimits const& m_limits;
    char m_buffer[64 * 1024];  // a typical request in one read
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    Clock::time_point m_deadline = Clock::now();
    bool m_inHead = false;
    bool m_complete = false;
    bool m_readFailed = false;   // a deadline, the size cap or an error: close after the answer
    bool m_writeFailed = false;  // nothing more can be sent
    std::size_t m_lineLength = 0;
    char m_previous = 0;
    std::size_t m_requestBytes = 0;
    std::string m_pending;  // written, not yet sent
    mutable Address m_remote;
    mutable Address m_local;
};

// cpp-httplib's task queue: a thread for each connection, started on demand and kept for the
// next, at most `limit` connections at once. Jobs beyond the limit go to one refusing thread.
class ConnectionPool final : public httplib::TaskQueue {
public:
    explicit ConnectionPool(std::size_t limit) : m_limit(limit) {
        m_refuser = std::thread([this] { Refuse(); });
    }
    ConnectionPool(ConnectionPool const&) = delete;
    ConnectionPool& operator=(ConnectionPool const&) = delete;
    ~ConnectionPool() override = default;

    void enqueue(std::function<void()> job) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_admitted < m_limit) {
            ++m_admitted;
            m_jobs.push_back(std::move(job));
            if (m_jobs.size() > m_idle) {
                m_threads.emplace_back([this] { Work(); });
            } else {
                m_ready.notify_one();
            }
        } else {
            m_refusals.push_back(std::move(job));
            m_refusable.notify_one();
        }
    }

    // Runs every job already queued to its end, then joins the threads.
    void shutdown() override {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_shutdown = true;
        }
        m_ready.notify_all();
        m_refusable.notify_all();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        m_refuser.join();
    }

private:
    void Work() {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            ++m_idle;
            m_ready.wait(lock, [this] { return !m_jobs.empty() || m_shutdown; });
            --m_idle;
            if (m_jobs.empty()) {
                return;
            }
            std::function<void()> job = std::move(m_jobs.front());
            m_jobs.pop_front();
            lock.unlock();
            t_admission = Admission::Serve;
            job();
            lock.lock();
            --m_admitted;
        }
    }

    void Refuse() {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_refusable.wait(lock, [this] { return !m_refusals.empty() || m_shutdown; });
            if (m_refusals.empty()) {
                return;
            }
            std::function<void()> job = std::move(m_refusals.front());
            m_refusals.pop_front();
            Admission const admission =
                m_refusals.size() < kRefusalBacklog ? Admission::Refuse : Admission::Drop;
            lock.unlock();
            t_admission = admission;
            job();
            lock.lock();
        }
    }

    std::size_t const m_limit;
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::condition_variable m_refusable;
    std::deque<std::function<void()>> m_jobs;
    std::deque<std::function<void()>> m_refusals;
    std::vector<std::thread> m_threads;
    std::thread m_refuser;
    std::size_t m_admitted = 0;  // connections queued or served
    std::size_t m_idle = 0;      // threads waiting for a job
    bool m_shutdown = false;
};

}  // namespace

GuardedServer::GuardedServer(ServerLimits const& limits, std::string const& refusalBody)
    : m_limits(limits), m_refusal(Refusal(refusalBody)) {
    int ends[2];
    if (pipe(ends) == 0) {
        m_stopRead = ends[0];
        m_stopWrite = ends[1];
        fcntl(m_stopRead, F_SETFD, FD_CLOEXEC);
        fcntl(m_stopWrite, F_SETFD, FD_CLOEXEC);
    }
    // The Keep-Alive header of each answer states these two; the connection loop enforces them.
    set_keep_alive_max_count(limits.maxRequestsPerConnection);
    set_keep_alive_timeout(limits.idleTimeout.count());
    set_payload_max_length(limits.maxRequestBytes);
    set_tcp_nodelay(true);
    new_task_queue = [this] { return new ConnectionPool(m_limits.maxConnections); };
}

GuardedServer::~GuardedServer() {
    Shutdown();
    if (m_stopRead >= 0) {
        close(m_stopRead);
    }
}

int GuardedServer::Bind(std::string const& host, int port) {
    int const bound = port == 0 ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
    // cpp-httplib listens with a backlog of 5: connections beyond that in a burst wait for the
    // client's SYN to be sent again, a second or more. Listening again enlarges the backlog.
    if (bound >= 0) {
        ::listen(svr_sock_, SOMAXCONN);
    }
    return bound;
}

void GuardedServer::Shutdown() {
    std::call_once(m_shutdown, [this] {
        m_stopping = true;
        // Every connection waiting for a request polls the reading end: it sees the end of file.
        if (m_stopWrite >= 0) {
            close(m_stopWrite);
        }
        stop();
    });
}

bool GuardedServer::process_and_close_socket(socket_t sock) {
    Connection connection(sock, m_limits);
    if (t_admission != Admission::Serve) {
        if (t_admission == Admission::Refuse) {
            connection.Refuse(m_refusal);
        }
        return false;
    }
    for (std::size_t served = 0; served < m_limits.maxRequestsPerConnection; ++served) {
        if (!connection.AwaitRequest(m_stopRead)) {
            return true;
        }
        bool const last = served + 1 == m_limits.maxRequestsPerConnection;
        bool clientCloses = false;
        // A shut-down that comes while the head is read still makes this the last answer:
        // cpp-httplib announces the close when the request asks for one.
        auto const closeOnStop = [this](httplib::Request& request) {
            if (m_stopping) {
                request.headers.erase("Connection");
                request.headers.emplace("Connection", "close");
            }
        };
        bool const answered = process_request(connection, last, clientCloses, closeOnStop);
        if (!connection.Flush() || !answered) {
            return false;
        }
        if (last || clientCloses || m_stopping || !connection.Healthy()) {
            connection.Linger();
            return true;
        }
    }
    return true;
}

WorkerSlots::Hold::Hold(WorkerSlots& slots) : m_slots(slots) {
    std::unique_lock<std::mutex> lock(slots.m_mutex);
    slots.m_freed.wait(lock, [&slots] { return slots.m_free > 0; });
    --slots.m_free;
}

WorkerSlots::Hold::~Hold() {
    {
        std::lock_guard<std::mutex> lock(m_slots.m_mutex);
        ++m_slots.m_free;
    }
    m_slots.m_freed.notify_one();
}
