// The end of a connection run: whatever way the answer and the peer's close arrive, every
// byte before the close comes through read events that each carry data, then one close.
#include <corvane/socket.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/socket.h"
#include "support/loopback.h"

namespace {

using corvane::platform::Ipv4Address;
using corvane::test::LoopbackServer;
using corvane::test::ServerScript;

// Sends "ping" once writable and logs each read: "r" with data, "0" without; "c" the close.
class Reader : public WMWinSocket2 {
public:
    explicit Reader(std::size_t chunk) : WMWinSocket2(3000), buffer_(chunk, '\0') {}

    bool OnSockWrite() override {
        char ping[] = "ping";
        return wrote_ || (wrote_ = Send(ping, 4));
    }
    bool OnSockRead(bool& more) override {
        int received = 0;
        const bool ok = Recv(&buffer_[0], static_cast<int>(buffer_.size()), &received);
        more = received > 0;
        data.append(buffer_, 0, more ? static_cast<std::size_t>(received) : 0);
        log += more ? "r" : "0";
        return ok;
    }
    void OnSockClose() override { log += "c"; }
    int LastError() const { return m_nLastError; }

    std::string data;
    std::string log;

private:
    std::string buffer_;
    bool wrote_ = false;
};

Ipv4Address Loopback(int port) {
    const unsigned char loopback[4] = {127, 0, 0, 1};
    return Ipv4Address(loopback, port);
}

TEST(SocketEnd, EveryByteBeforeThePeersCloseThenOneClose) {
    std::string large(1u << 20, '-');
    for (std::size_t i = 0; i < large.size(); i += 1000) {
        large.replace(i, 6, std::to_string(100000 + i / 1000));
    }
    struct Case {
        std::vector<std::string> reply;
        int pauseMs;
        std::size_t chunk;
    } const cases[] = {
        {{"abcdefghijklmnopqrstuvwxyz"}, 0, 7},  // the close is there before the first read
        {{"abc", "defghijklm", "n"}, 40, 7},     // it comes after data already read
        {{"abcdefgh", "ijklmn"}, 40, 4096},      // each read takes all there is
        {{large}, 0, 4096},                      // many reads after the close has arrived
        {{large.substr(0, 70000), large}, 20, 65536},
    };
    for (Case const& c : cases) {
        ServerScript script;
        script.requestBytes = 4;
        script.reply = c.reply;
        script.pauseMs = c.pauseMs;
        LoopbackServer server(script);
        Reader socket(c.chunk);
        Ipv4Address address = Loopback(server.Port());
        std::string expected;
        for (std::string const& piece : c.reply) {
            expected += piece;
        }
        SCOPED_TRACE(expected.substr(0, 20));
        ASSERT_TRUE(socket.Connect(address.Get(), 0));
        EXPECT_EQ(socket.LastError(), 0);
        EXPECT_TRUE(socket.data == expected);
        // Reads with data only, then the drain's one empty read and the close.
        EXPECT_EQ(socket.log.find_first_not_of('r'), socket.log.size() - 2);
        EXPECT_EQ(socket.log.substr(socket.log.size() - 2), "0c");
    }
}

TEST(SocketEnd, PeerResettingAfterTheRequestFailsTheRun) {
    ServerScript script;
    script.resetAfter = 1;
    LoopbackServer server(script);
    Reader socket(64);
    Ipv4Address address = Loopback(server.Port());
    EXPECT_FALSE(socket.Connect(address.Get(), 0));
    EXPECT_EQ(socket.LastError(), 10054);
    EXPECT_EQ(socket.log, "");
    EXPECT_FALSE(socket.IsConnected());
}

}  // namespace
