// Process control for the test peer uses POSIX directly; the library is not involved.
#include "tls_peer.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

extern char** environ;

namespace corvane::test {

TlsPeer::TlsPeer(const std::string& mode) {
    char pattern[] = "/tmp/corvane-tls-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) {
        status_ = "cannot make a work directory";
        return;
    }
    workdir_ = pattern;
    int out[2];
    if (::pipe(out) != 0) {
        status_ = "cannot make a pipe";
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::string python = CORVANE_PYTHON;
    std::string script = CORVANE_TLS_SERVER_SCRIPT;
    std::string openssl = CORVANE_OPENSSL;
    std::string modeArg = mode;
    char* argv[] = {python.data(),  script.data(),  workdir_.data(),
                    openssl.data(), modeArg.data(), nullptr};
    pid_t pid = -1;
    const int spawned = posix_spawn(&pid, python.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    if (spawned != 0) {
        ::close(out[0]);
        status_ = std::string("cannot start python3: ") + std::strerror(spawned);
        return;
    }
    pid_ = pid;
    // Key generation and start-up take well under this.
    pollfd entry{out[0], POLLIN, 0};
    while (status_.find('\n') == std::string::npos && ::poll(&entry, 1, 15000) > 0) {
        char buffer[256];
        ssize_t n = ::read(out[0], buffer, sizeof(buffer));
        if (n <= 0) {
            break;
        }
        status_.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(out[0]);
    if (!status_.empty() && status_.back() == '\n') {
        status_.pop_back();
    }
    if (status_.empty()) {
        status_ = "the TLS peer did not start";
    }
}

TlsPeer::~TlsPeer() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        int status = 0;
        ::waitpid(pid_, &status, 0);
    }
    if (!workdir_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(workdir_, ignored);
    }
}

}  // namespace corvane::test
