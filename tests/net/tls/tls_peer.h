// The TLS peer process of the tests: started by the test, stopped by its own process id.
#ifndef CORVANE_TESTS_NET_TLS_PEER_H
#define CORVANE_TESTS_NET_TLS_PEER_H

#include <string>

namespace corvane::test {

class TlsPeer {
public:
    explicit TlsPeer(const std::string& mode);
    ~TlsPeer();
    TlsPeer(const TlsPeer&) = delete;
    TlsPeer& operator=(const TlsPeer&) = delete;

    // "ready" once it listens on 127.0.0.1:443, or the reason it cannot.
    const std::string& Status() const { return status_; }

private:
    int pid_ = -1;
    std::string status_;
    std::string workdir_;
};

}  // namespace corvane::test

#endif
