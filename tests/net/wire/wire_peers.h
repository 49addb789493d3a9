// The peers of wire_peer.py (an HTTP/1.1 server, a proxy, TLS servers with certificates of a CA
// made at start-up), started once for a test suite. Never built for Windows: the peer is
// started as a POSIX process. The program defines CORVANE_PYTHON, CORVANE_OPENSSL,
// CORVANE_WIRE_PEER_SCRIPT and CORVANE_TLS_LIBRARY_DIR.
#ifndef CORVANE_TESTS_NET_WIRE_WIRE_PEERS_H
#define CORVANE_TESTS_NET_WIRE_WIRE_PEERS_H

#include <corvane/dynssl.h>
#include <corvane/wire.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "support/support.h"

namespace corvane::test {

class Peers {
public:
    // The peer prints its ports on one line once it listens, and runs until it is killed.
    Peers() {
        const std::string ready = dir_.File("ready");
        std::string pid;
        corvane::test::RunShell(std::string("'") + CORVANE_PYTHON + "' '" +
                                    CORVANE_WIRE_PEER_SCRIPT + "' '" + dir_.Path() + "' '" +
                                    CORVANE_OPENSSL + "' > '" + ready + "' & echo $!",
                                &pid);
        pid_ = std::atoi(pid.c_str());
        std::string line;
        for (int i = 0; i < 300 && line.find('\n') == std::string::npos; ++i) {
            ::usleep(100000);
            line = corvane::test::ReadFile(ready);
        }
        std::istringstream words(line);
        std::string word;
        words >> word;  // "ready"
        while (words >> word) {
            const std::size_t equals = word.find('=');
            ports_[word.substr(0, equals)] = std::stoi(word.substr(equals + 1));
        }
    }
    ~Peers() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
        }
    }

    bool Ready() const { return ports_.count("http") == 1; }
    std::string Url(const std::string& server, const std::string& target,
                    const std::string& host = "127.0.0.1") const {
        const bool tls = server != "http" && server != "proxy";
        return std::string(tls ? "https://" : "http://") + host + ":" +
               std::to_string(ports_.at(server)) + target;
    }
    WMString File(const std::string& name) const { return corvane::test::Widen(dir_.File(name)); }

private:
    corvane::test::TempDir dir_;
    pid_t pid_ = -1;
    std::map<std::string, int> ports_;
};

// A suite on the peers, which start with its first test; every test's options trust their CA.
class PeersTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        DynSSL::SetLibraryDirectory(CORVANE_TLS_LIBRARY_DIR);
        peers = new Peers();
    }
    static void TearDownTestSuite() {
        delete peers;
        peers = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(peers->Ready()) << "the peers did not start";
        options.standard = true;
        options.caFile = peers->File("ca.pem");
    }

    static inline Peers* peers = nullptr;
    WMWireOptions options;
};

}  // namespace corvane::test

#endif
