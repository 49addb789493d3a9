// The connection run of the event-driven socket: handler order, the drain on close, the
// pending-send queue, and the guards around a run.
#include <corvane/socket.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "net/host_ent.h"
#include "platform/socket.h"
#include "support/loopback.h"

namespace {

using corvane::platform::Ipv4Address;
using corvane::test::LoopbackServer;
using corvane::test::ServerScript;

Ipv4Address Loopback(int port) {
    const unsigned char address[4] = {127, 0, 0, 1};
    return Ipv4Address(address, port);
}

// Records the handler calls; sends `chunks` on the first write event and reads with Recv.
class Recorder : public WMWinSocket2 {
public:
    explicit Recorder(unsigned long timeout = 3000) : WMWinSocket2(timeout) {}

    bool OnSockConnect() override {
        log += "connect;";
        if (smallSendBuffer) {
            corvane::test::ShrinkSendBuffer(m_socket);
        }
        return true;
    }
    bool OnSockWrite() override {
        if (!wrote) {
            wrote = true;
            for (std::string& chunk : chunks) {
                sent = Send(chunk.data(), static_cast<int>(chunk.size())) && sent;
                queuedAfterSend.push_back(m_pendingSends.size());
            }
        }
        return true;
    }
    bool OnSockRead(bool& more) override {
        char buffer[7];
        int received = 0;
        const bool ok = Recv(buffer, sizeof(buffer), &received);
        more = received > 0;
        if (received > 0) {
            data.append(buffer, static_cast<std::size_t>(received));
        }
        log += more ? "read;" : "end;";
        return ok;
    }
    void OnSockClose() override { log += "close;"; }

    int LastError() const { return m_nLastError; }

    std::vector<std::string> chunks;
    bool smallSendBuffer = false;
    std::vector<std::size_t> queuedAfterSend;
    bool wrote = false;
    bool sent = true;
    std::string data;
    std::string log;
};

TEST(SocketRun, PeerClosingRightAfterSendingIsDrainedBeforeClose) {
    ServerScript script;
    script.requestBytes = 4;
    script.reply = {"abcdefghijklmnopqrstuvwxyz"};
    LoopbackServer server(script);
    Recorder socket;
    socket.chunks = {"ping"};
    ASSERT_TRUE(socket.Connect(Loopback(server.Port()).Get(), 0));
    EXPECT_EQ(server.Received(), "ping");
    EXPECT_EQ(socket.data, "abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(socket.log.rfind("connect;", 0), 0u);
    EXPECT_EQ(socket.log.substr(socket.log.size() - 10), "end;close;");
    EXPECT_FALSE(socket.IsConnected());
    EXPECT_EQ(socket.LastError(), 0);
}

TEST(SocketRun, LargeSendIsQueuedAndLaterSendsKeepTheirOrder) {
    std::string big(4u << 20, 'A');
    for (std::size_t i = 0; i < big.size(); i += 4096) {
        big[i] = static_cast<char>('a' + (i / 4096) % 26);
    }
    const std::string expected = big + "B" + "CC";
    ServerScript script;
    script.requestBytes = expected.size();
    // Both ends' buffers are fixed at a few kilobytes (autotuning off), so a 4 MiB send cannot
    // fit and the client must queue on any kernel.
    script.readChunk = 64 * 1024;
    script.reply = {"done"};
    LoopbackServer server(script);
    Recorder socket;
    socket.smallSendBuffer = true;
    socket.chunks = {big, "B", "CC"};
    ASSERT_TRUE(socket.Connect(Loopback(server.Port()).Get(), 0));
    EXPECT_TRUE(socket.sent);
    ASSERT_EQ(socket.queuedAfterSend.size(), 3u);
    EXPECT_EQ(socket.queuedAfterSend[0], 1u);  // the rest of the first send waits
    EXPECT_EQ(socket.queuedAfterSend[2], 3u);  // the next ones line up behind it
    EXPECT_TRUE(server.Received() == expected);
    EXPECT_EQ(socket.data, "done");
}

TEST(SocketRun, HandlerThatNeverReadsStillEndsOnClose) {
    // A read event is not repeated until the handler receives, and the drain stops when a
    // handler reads nothing: the base handlers cannot spin.
    ServerScript script;
    script.requestBytes = 1;
    script.reply = {"unread data"};
    LoopbackServer server(script);
    struct Writer : WMWinSocket2 {
        Writer() : WMWinSocket2(3000) {}
        bool OnSockWrite() override {
            char byte = 'x';
            return Send(&byte, 1);
        }
    } socket;
    EXPECT_TRUE(socket.Connect(Loopback(server.Port()).Get(), 0));
}

TEST(SocketRun, SilentPeerFailsWith258) {
    ServerScript script;
    script.requestBytes = 1;
    script.silent = true;
    LoopbackServer server(script);
    Recorder socket(200);
    socket.chunks = {"?"};
    EXPECT_FALSE(socket.Connect(Loopback(server.Port()).Get(), 0));
    EXPECT_EQ(socket.LastError(), 258);
    EXPECT_FALSE(socket.IsConnected());
}

TEST(SocketRun, GuardsBeforeARun) {
    struct Nested : Recorder {
        bool OnSockConnect() override {
            nested = Connect(target, 0);
            nestedError = LastError();
            return false;
        }
        sockaddr_in* target = nullptr;
        bool nested = true;
        int nestedError = 0;
    } socket;
    LoopbackServer server(ServerScript{});
    Ipv4Address address = Loopback(server.Port());
    socket.target = address.Get();
    EXPECT_TRUE(socket.Connect(address.Get(), 0));
    EXPECT_FALSE(socket.nested);
    EXPECT_EQ(socket.nestedError, 10056);

    Recorder refused;
    EXPECT_FALSE(refused.Connect(Loopback(corvane::test::UnusedPort()).Get(), 0));
    EXPECT_EQ(refused.LastError(), 10061);

    struct NotStarted : Recorder {
        NotStarted() { m_bInitialized = false; }
    } notStarted;
    EXPECT_FALSE(notStarted.IsInitialized());
    EXPECT_FALSE(notStarted.Connect(address.Get(), 0));
    EXPECT_EQ(notStarted.LastError(), 10093);
}

TEST(HostEnt, CopiesAreDeepAndListsEndWithNull) {
    WMHostEnt* original = nullptr;
    ASSERT_TRUE(corvane::platform::ResolveHost(
        "127.0.0.1", [&original](hostent const* host) { original = new WMHostEnt(host); }));
    WMHostEnt copy(*original);
    WMHostEnt assigned = copy;
    assigned = *original;
    delete original;
    for (WMHostEnt const* host : {&copy, &assigned}) {
        EXPECT_STREQ(host->GetName(), "127.0.0.1");
        EXPECT_EQ(host->GetAddrLength(), 4);
        char* const* addresses = host->GetAddrList();
        ASSERT_NE(addresses[0], nullptr);
        EXPECT_EQ(std::string(addresses[0], 4), std::string("\x7f\0\0\x01", 4));
        EXPECT_EQ(addresses[1], nullptr);
        EXPECT_EQ(host->GetAliases()[0], nullptr);
    }
    EXPECT_FALSE(corvane::platform::ResolveHost("no-such-host..invalid", [](hostent const*) {}));
}

}  // namespace
